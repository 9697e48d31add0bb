"""The reports in a log."""

import re

from zor_report.log_lines import MOST_LINE, LineReader

SIGNALS = {"Abort Signal", "Floating Point Error", "Illegal Instruction",
           "Segmentation Violation", "Bus Error", "Unknown Error"}
MOST_MESSAGE = 20  # lines of what a program says when it gives up
MOST_FRAMES = 64  # programs write 16

TIME = re.compile(r" \d{4}/\d\d/\d\d \d\d:\d\d:\d\d")
MOST_NAME = 400  # characters, of a program with its version
LOG_TIME = re.compile(r"\d\d:\d\d:\d\d ")
STACK = re.compile(r"Stack=(\S+)")
THREADS = re.compile(r"(.+): Application Threads \((-?\d{1,9})\)")
THREAD = re.compile(r"Thread (0x[0-9A-F]+) policy=(-?\d{1,9}) priority=(-?\d{1,9})")
SEPARATOR = "==============="
BACKTRACE = "Backtrace:"
FRAME = re.compile(r"\[(0x[0-9a-f]{1,16}|\(nil\))\]")
SYMBOL = re.compile(r"([^()]*?)([+-]0(?:x[0-9a-f]{1,16})?)?\)")
EMPTY_FRAME = {"text": None, "address": None, "module": None, "symbol": None, "offset": None,
               "crashed": False, "functions": []}

PARAMETER = re.compile(r" ([A-Za-z_]\w*)=")
# A quote ends a text where the line ends, or goes on with a variable: " szName=", " m_bNow=".
TEXT_END = re.compile(r'"(?=$| (?:[mg]_)?(?:[a-z]{1,4}[A-Z]\w*|tid)=)')


def match_head(text):
    """What the first line of a report says, or None."""
    if not TIME.fullmatch(text[-20:]) or len(text) == 20:
        return None
    return dict(match_program(text[-MOST_NAME:-20]), time=text[-19:])


def match_threads(text):
    """The first line of a report on threads."""
    return THREADS.fullmatch(text[-MOST_NAME:]) if text.endswith(")") else None


def match_program(text):
    if prefix := LOG_TIME.match(text):
        text = text[prefix.end():]
    application, _, version = text.rpartition(" ")
    if text.endswith(" Unknown Version"):
        application, version = text[:-16], text[-15:]
    build_id = re.search(r"\+([0-9a-f]{16,64})$", version)
    return {"application": application, "version": version,
            "build_id": build_id and build_id[1]}


def match_frame(text):
    """A line of backtrace_symbols(3): "file(symbol+0x12) [0x5512]" and its short forms, or None."""
    start = text.rfind("[")
    address = FRAME.fullmatch(text[max(start, 0):])
    if not address:
        return None
    frame = dict(EMPTY_FRAME, text=text, address="0x0" if address[1] == "(nil)" else address[1])
    place = text[:start].rstrip(" ")
    module, parenthesis, rest = place.rpartition("(")
    if parenthesis and (symbol := SYMBOL.fullmatch(rest)):
        frame.update(module=module, symbol=symbol[1] or None, offset=symbol[2])
    else:
        frame["module"] = place or None
    return frame


def is_landmark(text):
    """Whether a line belongs to the report itself, so that it cannot be a function of a chain."""
    return (text in (BACKTRACE, SEPARATOR) or STACK.fullmatch(text) or THREAD.fullmatch(text) or
            match_threads(text) or LOG_TIME.match(text) or TIME.fullmatch(text[-20:]))


class ReportReader:
    """Yields the reports of a log, damaged ones too, in the form that --json prints."""

    def __init__(self, stream, name):
        self._lines = LineReader(stream)
        self._name = name
        self._open_before = 0  # no line before this one ends the text that is open

    def __iter__(self):
        while line := self._lines.peek():
            warning = self._lines.last.text
            start = self._start()
            if start is None:
                self._lines.take()
                continue
            report = {"file": self._name, "line": line.number, "application": None,
                      "version": None, "build_id": None, "time": None, "what": None,
                      "stack": None, "chain": [], "thread_count": None, "threads": [],
                      "backtrace": [], "build": None, "notes": []}
            start(report)
            if report["what"] is None and warning.endswith(":") and report["threads"]:
                report["what"] = warning[:-1]
            if not self._lines.last.is_whole:
                report["notes"].append("The input ends within the report.")
            report["notes"] = list(dict.fromkeys(report["notes"]))
            yield report

    def _start(self):
        """The function that reads the report that begins here, or None."""
        text = self._lines.text()
        if match_head(text) and self._message_length() is not None:
            return self._read_headed
        following = self._lines.text(1) or ""
        if STACK.fullmatch(text) and (following == BACKTRACE or not is_landmark(following)):
            return self._read_crash
        if text == BACKTRACE and match_frame(following):
            return self._read_crash
        if match_threads(text) or THREAD.fullmatch(text):
            return self._read_threads
        return None

    def _message_length(self):
        """The lines between a head and the rest of its report; None if that is no report."""
        length = 0
        while length <= MOST_MESSAGE:
            text = self._lines.text(1 + length)
            if text is None or STACK.fullmatch(text) or match_threads(text):
                return length
            if match_head(text) or LOG_TIME.match(text):
                break
            length += 1
        return 1 if self._lines.text(1) in SIGNALS else None

    def _read_headed(self, report):
        length = self._message_length()
        report.update(match_head(self._lines.take()))
        report["what"] = "\n".join(self._lines.take() for _ in range(length))
        if match_threads(self._lines.text() or ""):
            self._read_threads(report)
        else:
            self._read_crash(report)

    def _read_crash(self, report):
        if report["application"] is None:
            report["notes"].append("The report's head is missing.")
        if stack := STACK.fullmatch(self._lines.text() or ""):
            report["stack"] = stack[1]
            self._lines.take()
        self._read_chain(report["chain"])
        if self._lines.text() != BACKTRACE:
            report["notes"].append("The report was cut or its buffer was full: "
                                   "its backtrace is missing.")
            return
        self._lines.take()
        frames = report["backtrace"]
        while (line := self._lines.peek()) and len(frames) < MOST_FRAMES:
            frame = match_frame(line.text)
            if frame is None:
                if line.is_whole and not match_frame(self._lines.text(1) or "") or not line.text:
                    break
                frame = dict(EMPTY_FRAME, text=line.text)
                report["notes"].append("A line of the backtrace is damaged.")
            self._lines.take()
            frames.append(frame)

    def _read_threads(self, report):
        is_ended = False
        if threads := match_threads(self._lines.text()):
            report.update(match_program(threads[1]), thread_count=int(threads[2]))
            self._lines.take()
            if is_ended := self._lines.text() == SEPARATOR:
                self._lines.take()
        else:
            report["notes"].append("The report's head is missing.")
        while thread := THREAD.fullmatch(self._lines.text() or ""):
            self._lines.take()
            chain = []
            self._read_chain(chain)
            report["threads"].append({"id": thread[1], "policy": int(thread[2]),
                                      "priority": int(thread[3]), "chain": chain})
            is_ended = self._lines.text() == SEPARATOR
            if not is_ended:
                break
            self._lines.take()
        if not is_ended:
            report["notes"].append("The report was cut or its buffer was full.")

    def _read_chain(self, chain):
        size = 0
        while (text := self._lines.text()) and not is_landmark(text) and size <= MOST_LINE:
            size += len(text)
            chain.append(self._read_function())

    def _read_function(self):
        """A line of a chain: a tag and variables. A text that a variable holds may have lines."""
        text = self._lines.take()
        parameter = PARAMETER.search(text)
        function = {"function": text[:parameter.start()] if parameter else text, "parameters": []}
        while parameter:
            start = parameter.end()
            if text.startswith('"', start):
                end = TEXT_END.search(text, start + 1)
                if not end and (more := self._take_rest_of_text()):
                    first, text = len(text) + 1, f"{text}\n{more}"
                    end = TEXT_END.search(text, first + more.rfind("\n") + 1)
                end = end.end() if end else len(text)
            else:
                end = start
            name, parameter = parameter[1], PARAMETER.search(text, end)
            end = parameter.start() if parameter else len(text)
            function["parameters"].append({"name": name, "value": text[start:end]})
        return function

    def _take_rest_of_text(self):
        """The lines until one that ends the text; empty if there is none."""
        if self._lines.taken < self._open_before:
            return ""
        size, ahead = 0, 0
        while (text := self._lines.text(ahead)) is not None and size <= MOST_LINE:
            if is_landmark(text):
                break
            size, ahead = size + len(text), ahead + 1
            if TEXT_END.search(text):
                return "\n".join(self._lines.take() for _ in range(ahead))
        self._open_before = self._lines.taken + ahead
        return ""
