"""The lines of a log."""

import collections
import re

MOST_LINE = 65536  # bytes; the buffer that reports are composed in has 32768

SYSLOG = re.compile(r"(?:[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d|\d{4}-\d\d-\d\dT\S{8,30}) "
                    r"\S{1,255} [^\s:]{1,80}: ?")

Line = collections.namedtuple("Line", "number text is_whole")


def read_lines(stream):
    """Yields the lines of a log, whatever it holds. A zero byte ends a line too, because a file
    system fills lost blocks with zeros. Of a line longer than any report only the end is kept."""
    number = 0
    while piece := stream.readline(MOST_LINE):
        number += 1
        while not piece.endswith(b"\n") and (more := stream.readline(MOST_LINE)):
            piece = more
        is_whole = piece.endswith(b"\n")
        for part in re.split(rb"\0+", piece.rstrip(b"\r\n")):
            text = part.decode("utf-8", "backslashreplace").removeprefix("\ufeff")
            if prefix := SYSLOG.match(text):
                text = text[prefix.end():].removesuffix("#015")  # a syslog's carriage return
            yield Line(number, text, is_whole)


class LineReader:
    """Lines with a look ahead; behind the last one is None."""

    def __init__(self, stream):
        self._lines = read_lines(stream)
        self._ahead = collections.deque()
        self.taken = 0  # lines
        self.last = Line(0, "", True)  # that was taken

    def peek(self, ahead=0):
        while len(self._ahead) <= ahead:
            line = next(self._lines, None)
            if line is None:
                return None
            self._ahead.append(line)
        return self._ahead[ahead]

    def text(self, ahead=0):
        line = self.peek(ahead)
        return line.text if line else None

    def take(self):
        self.peek()
        self.last = self._ahead.popleft()
        self.taken += 1
        return self.last.text
