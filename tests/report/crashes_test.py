"""What zor-report tells about crashes of the simulator: crashes_test.py SIMULATOR [EMULATOR...]"""

import contextlib
import json
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(__file__).parents[2]
SIMULATOR, *EMULATOR = sys.argv[1:]
PIPES = "/tmp/zor_app_in.pipe", "/tmp/zor_app_out.pipe"
DIAGNOSTIC_REQUEST = struct.pack("<III", 0x64, 0, 0)

# The kind of crash, what happened, the innermost traced function; the function that failed and its
# source line.
CRASHES = [
    ("abort", "Abort Signal", "RSim::Crash", "Crash", "std::abort();"),
    ("fpe", "Floating Point Error", "RSim::Crash", "Crash", "std::raise("),
    ("segv", "Segmentation Violation", "RSim::WriteFrame", "WriteThroughABadPointer",
     "*szFrame = 'e';"),
    ("bus", "Bus Error", "RSim::ReadMapped", "ReadBehindAFile", "static_cast<void>(*static_cast"),
    ("heap", "Abort Signal", "RSim::FreeFrame", "FreeTwice", "std::free(pFrame); // NOLINT"),
    ("error", "The simulator was asked to crash", "RSim::Crash", "Crash", "FatalProgramError("),
]


def crash(kind, folder):
    """Returns the standard output of a simulator that crashes at the first diagnostic."""
    with subprocess.Popen([*EMULATOR, SIMULATOR, "--crash", kind, "--root", folder],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as simulator:
        try:
            while simulator.stdout.readline() != b"Recorder ready.\n":
                assert simulator.poll() is None
            with open(PIPES[0], "wb", 0) as requests, open(PIPES[1], "rb", 0):
                requests.write(DIAGNOSTIC_REQUEST)
                output = simulator.communicate(timeout=60)[0]
        finally:
            simulator.kill()
            for pipe in PIPES:
                with contextlib.suppress(OSError):
                    os.unlink(pipe)
    return output


def report(log, *options, code=0):
    done = subprocess.run([SOURCES / "scripts" / "zor-report", "--json", *options], input=log,
                          capture_output=True, timeout=120, check=False)
    assert (done.returncode, done.stderr) == (code, b""), done
    return [json.loads(line) for line in done.stdout.splitlines()]


def failed(record):
    """The marked frame's innermost function and its source line; None without source."""
    frame, = (frame for frame in record["backtrace"] if frame["crashed"])
    if not frame["functions"] or frame["functions"][0]["file"] is None:
        return None
    place = frame["functions"][0]
    source = (SOURCES / place["file"]).read_text("utf-8").splitlines()[place["line"] - 1]
    return re.search(r"(\w+)(\([^()]*\))?$", place["function"])[1], source.strip()


class Crashes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def test_lead_to_the_source(self):
        for kind, what, traced, function, source in CRASHES:
            with self.subTest(kind):
                output = crash(kind, self.folder)
                if kind == "heap" and what.encode() not in output:
                    continue  # a sanitizer saw it first
                record, = report(output, "-b", os.path.dirname(SIMULATOR))
                self.assertEqual((record["application"], record["what"], record["notes"]),
                                 ("zor-recorder-sim", what, []))
                self.assertEqual((record["chain"][0]["function"], record["build"]["status"]),
                                 (traced, "match"))
                found = failed(record)
                # The device's C library aborts where no unwinding leads out: what is found there may
                # be left over from a call that had returned, but its caller is right.
                if EMULATOR and kind in ("abort", "heap") and (not found or found[0] != function):
                    if found:
                        self.assertIn("CReplyWorker::MakeDiagnostic(", str(record["backtrace"]))
                    continue
                self.assertEqual((found[0], found[1][:len(source)]), (function, source))

    def test_are_the_same_in_their_files(self):
        logs = [crash("segv", self.folder)]
        logs += [path.read_bytes() for path in pathlib.Path(self.folder).rglob("Exception_*.txt")]
        self.assertEqual(len(logs), 2)
        records = [report(log, "-b", SIMULATOR) for log in logs]
        for record, in records:
            del record["line"]
            self.assertEqual(failed(record)[0], "WriteThroughABadPointer")
        self.assertEqual(*records)

    def test_of_all_threads_and_of_a_full_stack_have_no_backtrace(self):
        outermost = []
        for _ in range(3):  # other threads run on while their chains are read, which may cut one
            record, = report(crash("state", self.folder))
            self.assertEqual(record["thread_count"], len(record["threads"]))
            outermost += [thread["chain"][-1]["function"] for thread in record["threads"]]
        self.assertIn("RSim::Serve", outermost)
        record, = report(crash("stack", self.folder))
        self.assertEqual(record["chain"][0]["function"], "RSim::Recurse")
        self.assertGreater(len(record["chain"]), 200)

    def test_of_another_build_keep_their_addresses(self):
        output = crash("error", self.folder)
        build_id = re.search(rb"\+([0-9a-f]{40}) ", output)[1]
        other = output.replace(build_id, bytes(reversed(build_id)))
        folder = os.path.dirname(SIMULATOR)
        record, = report(other, "-b", folder, code=3)
        self.assertEqual((record["build"]["status"], record["build"]["build_id"]),
                         ("mismatch", build_id.decode()))
        self.assertEqual({len(frame["functions"]) for frame in record["backtrace"]
                          if frame["symbol"] is None}, {0})
        self.assertEqual(failed(report(other, "--force", "-b", folder, code=3)[0])[0], "Crash")
        unknown = output.replace(b"+" + build_id, b"")
        record, = report(unknown, "-b", folder)
        self.assertEqual((record["build"]["status"], failed(record)[0]), ("unknown", "Crash"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
