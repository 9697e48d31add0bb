"""What zor-report makes of each form of a report, whole, cut, damaged or hostile."""

import io
import json
import pathlib
import random
import subprocess
import sys
import time
import unittest

SCRIPTS = pathlib.Path(__file__).parents[2] / "scripts"
sys.path.insert(0, str(SCRIPTS))
sys.dont_write_bytecode = True
# pylint: disable=wrong-import-position
from zor_report.build import Build
from zor_report.lookup import look_up
from zor_report.readable import describe, safe
from zor_report.reports import ReportReader

BUILD_ID = "0123456789abcdef0123456789abcdef01234567"
CRASH = f"""\
zor-sim 0.1.0+{BUILD_ID} 2026/11/21 16:07:53
Segmentation Violation
Stack=0x7f867db3ca60
RSim::Write szFrame=INVALID
Posix Thread Main szThreadName="Replies" tid=0x7DB3D6C0 szStage="thread"
Backtrace:
/lib/libc.so.6(abort+0xd3) [0x7f867dca71f5]
bin/sim(_ZN3Sim5WriteEv+0) [0x5561d3d58cce]
bin/sim(+0x79b3e) [0x5561d3dbdb3e]
""".replace("\n", "\r\n").encode()
CRASH_SAYS = (f"zor-sim 0.1.0+{BUILD_ID} 2026/11/21 16:07:53 | Segmentation Violation | "
              "0x7f867db3ca60 | RSim::Write(szFrame=INVALID), Posix Thread Main("
              'szThreadName="Replies" tid=0x7DB3D6C0 szStage="thread") | '
              "/lib/libc.so.6(abort+0xd3), *bin/sim(_ZN3Sim5WriteEv+0), bin/sim(+0x79b3e)")
THREADS = b"""\
My Application 1.0: Application Threads (3)\r
===============\r
Thread 0x7F4AC9CC96C0 policy=0 priority=0\r
TSM::PASR\r
===============\r
Thread 0x00000002 policy=-1 priority=-1\r
WinEv::Wait dwMilliseconds=-1\r
===============\r
"""
THREADS_SAY = ("Threads (3) 0x7F4AC9CC96C0 0 0: TSM::PASR(), "
               "0x00000002 -1 -1: WinEv::Wait(dwMilliseconds=-1)")
HEADLESS = " | The report's head is missing."
NO_BACKTRACE = " | The report was cut or its buffer was full: its backtrace is missing."

FORMS = [
    ("a report", CRASH, [CRASH_SAYS]),
    ("line feeds alone", CRASH.replace(b"\r", b""), [CRASH_SAYS]),
    ("a log", b"\xef\xbb\xbf16:07:52 Boot: 2026/11/21 16:07:52\r\n" + CRASH + b"\r\n" + CRASH +
     b"16:07:54 Boot: firmware\r\n", [CRASH_SAYS] * 2),
    ("a log's time", b"16:07:53 " + CRASH, [CRASH_SAYS]),
    ("a syslog", b"".join(b"Nov 21 16:07:53 recorder zor[12]: " + line[:-2] + b"#015\n"
                          for line in CRASH.splitlines(True)), [CRASH_SAYS]),
    ("lost blocks before it", b"x" * 9 + b"\0" * 200000 + CRASH, [CRASH_SAYS]),
    ("a line without end before it", b"x" * 200000 + b"\n" + CRASH, [CRASH_SAYS]),
    ("nothing known", b"Unknown Application Unknown Version 2026/11/21 16:07:53\nBus Error\n"
     b"Stack=(nil)\nBacktrace:\n[0x30]\nbin/sim[0x40]\nbin/sim() [(nil)]\n",
     ["Unknown Application Unknown Version 2026/11/21 16:07:53 | Bus Error | (nil) | "
      "[0x30], *bin/sim[0x40], bin/sim[0x0]"]),
    ("two lines said", b"a 1 2026/11/21 16:07:53\nOne\nTwo\nStack=0x1\nBacktrace:\n[0x30]\n",
     ["a 1 2026/11/21 16:07:53 | One\nTwo | 0x1 | *[0x30]"]),
    ("texts of any content", b"Stack=0x1\nX::Y szXML=\"<a x=\"1\" y='2'/>\n\n<b z=\"\">\" iLength=-1,234 "
     b"m_wszName=\"\" pX=(BAD)0x0804A1F0 bX= szCut=\"<a\nBacktrace:\n[0x30]\n",
     ["0x1 | X::Y(szXML=\"<a x=\"1\" y='2'/>\n\n<b z=\"\">\" iLength=-1,234 m_wszName=\"\" "
      "pX=(BAD)0x0804A1F0 bX= szCut=\"<a) | *[0x30]" + HEADLESS]),
    ("threads", THREADS, ["My Application 1.0 | " + THREADS_SAY]),
    ("a warning", b"Queue is full:\r\n" + THREADS,
     ["My Application 1.0 | Queue is full | " + THREADS_SAY]),
    ("a crash on all threads", b"My Application 1.0 2026/11/21 16:07:53\r\nOver\r\n" + THREADS,
     ["My Application 1.0 2026/11/21 16:07:53 | Over | " + THREADS_SAY]),
    ("threads without a head", THREADS[THREADS.index(b"Thread 0x0"):],
     ["Threads (None) 0x00000002 -1 -1: WinEv::Wait(dwMilliseconds=-1)" + HEADLESS]),
    ("threads that were cut", THREADS[:-20], ["My Application 1.0 | " + THREADS_SAY[:-3] +
     "-) | The report was cut or its buffer was full. | The input ends within the report."]),
    ("a damaged line", CRASH.replace(b" [0x5561d3d58cce]", b"\xff\x1b"),
     [CRASH_SAYS.replace("*bin/sim(_ZN3Sim5WriteEv+0)", "?bin/sim(_ZN3Sim5WriteEv+0)\\xff\x1b")
      .replace("bin/sim(+", "*bin/sim(+") + " | A line of the backtrace is damaged."]),
    ("a cut report before another", CRASH[:CRASH.index(b"RSim")] + CRASH,
     [CRASH_SAYS[:CRASH_SAYS.index(" | RSim")] + NO_BACKTRACE, CRASH_SAYS]),
    ("no report", b"Recording started 2026/11/21 16:07:53\n16:07:53 Backtrace:\nBacktrace:\nx\n"
     b"Stack=0x1\nStack=0x2\n", ["0x2" + HEADLESS + NO_BACKTRACE]),
]


def read(log):
    return list(ReportReader(io.BytesIO(log), "log"))


def say(report):
    """A record in one line."""
    def chain(rows):
        return ", ".join(row["function"] + "(" + " ".join(
            f"{parameter['name']}={parameter['value']}" for parameter in row["parameters"]) + ")"
            for row in rows)

    def frame(row):
        if row["address"] is None:
            return "?" + row["text"]
        place = f"({row['symbol'] or ''}{row['offset']})" if row["offset"] else f"[{row['address']}]"
        return "*" * row["crashed"] + (row["module"] or "") + place

    threads = ", ".join(f"{row['id']} {row['policy']} {row['priority']}: {chain(row['chain'])}"
                        for row in report["threads"])
    head = " ".join(filter(None, (report["application"], report["version"], report["time"])))
    return " | ".join(filter(None, (
        head, report["what"], report["stack"], chain(report["chain"]),
        threads and f"Threads ({report['thread_count']}) {threads}",
        ", ".join(map(frame, report["backtrace"])), *report["notes"])))


def use(log):
    """All that the program does with a log, but for the tools it starts."""
    reports = read(log)
    look_up(reports, Build([]), False)
    for report in reports:
        assert json.dumps(report).isascii()
        assert all(safe(line).isprintable() for line in describe(report, []))
    return reports


class Damage(unittest.TestCase):
    maxDiff = None

    def test_forms(self):
        for rule, log, expected in FORMS:
            with self.subTest(rule):
                self.assertEqual([say(report) for report in use(log)], expected)

    def test_a_cut_report_tells_what_is_left(self):
        whole, = use(CRASH)
        head = CRASH.index(b"\r")
        for length in range(len(CRASH) - 1):
            reports = use(CRASH[:length])
            self.assertEqual(len(reports), length >= head, length)
            for report in reports:
                self.assertTrue(report["notes"] or CRASH[length - 1:length] == b"\n", length)
                lines = CRASH[:length].decode().split("\n")[:-1]
                functions = [row for row in whole["chain"]
                             if any(line.startswith(row["function"]) for line in lines)]
                self.assertEqual(report["chain"][:len(functions)], functions)
                ends = [frame["text"] for frame in whole["backtrace"]
                        if frame["text"] + "\r" in lines]
                self.assertEqual([frame["text"] for frame in report["backtrace"]][:len(ends)], ends)

    def test_bears_any_damage(self):
        chance = random.Random(4)
        log = CRASH + THREADS + CRASH
        pieces = [b'"', b'="', b" szX=", b"\0", b"\n", b"(", b")[", b"[0x", b"\xff", b"Stack=0x1\n",
                  b"Backtrace:\n", b"=" * 15, b"9" * 5000, THREADS[:43], CRASH[:90]]
        for _ in range(1000):
            damaged = bytearray(log)
            for _ in range(chance.randint(1, 12)):
                at = chance.randrange(len(damaged))
                damaged[at:at + chance.choice((0, 1, 9, 200))] = chance.choice(pieces)
            use(bytes(damaged))

    def test_time_grows_with_the_size_alone(self):
        start = b"Stack=0x1\r\n"
        for piece in (b"x", b"a\0", b"z 1 2026/11/22 02:26:46\n", start, start + b"A\n",
                      b"z 1 2026/11/22 02:26:46\n" + b"x\n" * 19, b'a x="\n', b'a x="\0', b'a x="b',
                      b' szA="1"', b"Backtrace:\n[0x1]\n", b"[0x1]", b"(+0x1", b" ", b"(", b": ",
                      b"a b: Application Threads (3)\n", b": Application Threads (",
                      b"Thread 0x1 policy=0 priority=0\n", b" 2026/11/22 02:26:46", b"Nov 22 02:26:46 a"):
            log = start + piece * (200_000 // len(piece))
            begin = time.process_time()
            use(log + b"\n" + CRASH)
            self.assertLess(time.process_time() - begin, 15, piece)

    def test_exit_codes(self):
        crash_and_no_build = [CRASH, "-b", str(SCRIPTS)]
        for (log, *arguments), code, message in [
                ((CRASH,), 0, ""),
                ((b"",), 1, "zor-report: there is no report"),
                ((CRASH, "--no-such"), 2, "unrecognized arguments: --no-such"),
                ((CRASH, "-b", sys.executable), 3, ""),
                ((CRASH, str(SCRIPTS)), 4, ": Is a directory"),
                ((CRASH, "-", "/nowhere"), 4, "/nowhere: No such file or directory"),
                (crash_and_no_build, 4, "holds no program and no library")]:
            with self.subTest(arguments):
                done = subprocess.run([SCRIPTS / "zor-report", *arguments], input=log,
                                      capture_output=True, timeout=120, check=False)
                self.assertEqual(done.returncode, code, done)
                self.assertIn(message, done.stderr.decode())
                self.assertNotIn(b"Traceback", done.stderr)
        with open("/dev/full", "wb") as full:
            done = subprocess.run([SCRIPTS / "zor-report"], input=CRASH, stdout=full,
                                  stderr=subprocess.PIPE, timeout=120, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (5, b"zor-report: cannot write: No space left on device\n"))


if __name__ == "__main__":
    unittest.main()
