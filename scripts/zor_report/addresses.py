"""What stands at an address of a program or library, by binutils."""

import bisect
import collections
import posixpath
import re
import shutil
import subprocess
import tempfile

TOOL_LIMIT = 300  # seconds


def run_tool(names, arguments, lines, **options):
    """The lines that the first of these tools that is there makes of lines."""
    tool = next(filter(None, map(shutil.which, names)), None)
    if tool is None:
        raise OSError(f"{names[-1]} of binutils is missing")
    try:
        done = subprocess.run([tool, *arguments], input="\n".join(lines).encode(),
                              capture_output=True, timeout=TOOL_LIMIT, check=False, **options)
    except subprocess.TimeoutExpired:
        raise OSError(f"{tool} gave no answer in {TOOL_LIMIT} s") from None
    if done.returncode != 0:
        raise OSError(f"{tool}: {done.stderr.decode('utf-8', 'replace').strip()[:300]}")
    return done.stdout.decode("utf-8", "backslashreplace").split("\n")


def demangle(symbols):
    """C++ symbols and their names."""
    symbols = sorted(symbol for symbol in set(symbols) if re.fullmatch(r"_Z[\w.$@]+", symbol))
    return dict(zip(symbols, run_tool(["c++filt"], [], symbols))) if symbols else {}


def tidy_path(path):
    """Builds name their files from the source folder, with a compiler's cache from below it."""
    path = posixpath.normpath(path)
    while path.startswith("../"):
        path = path[3:]
    return path


def new_function(name, place="??:?"):
    """Of a name and a place as addr2line prints them."""
    file, _, line = re.sub(r" \(discriminator \d+\)$", "", place).rpartition(":")
    return {"function": None if name == "??" else re.sub(r"\[abi:\w+\]", "", name),
            "file": None if file == "??" else tidy_path(file),
            "line": int(line) if line.isdecimal() else None, "inlined": False}


class Addresses:
    """Looks up all addresses of a file at once. A place is the file and the address in it; its
    functions are the innermost inlined one first, the one that has the code last."""

    def __init__(self):
        self._wanted = collections.defaultdict(set)
        self._functions = collections.defaultdict(list)

    def want(self, elf, address):
        self._wanted[elf].update((address - 1, address))

    def at(self, place):
        return [dict(function) for function in self._functions.get(place, ())]

    def behind_call(self, place):
        """For the address that a call returns to: it may be the next line's, or no line's."""
        return self.at(place and (place[0], place[1] - 1))

    def look_up(self):
        for elf, addresses in self._wanted.items():
            if elf.has_lines:
                self._read_lines(elf, sorted(addresses))
        symbols = {(elf, address): symbol for elf, addresses in self._wanted.items()
                   for address, symbol in find_symbols(elf, addresses)}
        names = demangle(symbols.values())
        for place, symbol in symbols.items():
            name = re.sub(r" \[clone [^]]*\]", "", names.get(symbol, symbol))
            functions = self._functions[place]
            if not functions:
                functions.append(new_function(name))
            elif is_short_for(functions[-1]["function"], name):
                functions[-1]["function"] = name
        for functions in self._functions.values():
            for function in functions[:-1]:
                function["inlined"] = True

    def _read_lines(self, elf, addresses):
        # addr2line calls the innermost of inlined functions by the symbol around them, if the file
        # has symbols.
        with tempfile.TemporaryFile() as copy:
            elf.copy_without_symbols(copy)
            lines = run_tool([elf.tool_prefix + "addr2line", "addr2line"],
                             ["-afiC", "-e", f"/proc/self/fd/{copy.fileno()}"],
                             map(hex, addresses), pass_fds=[copy.fileno()])
        name = None
        for line in lines:
            if line.startswith("0x"):
                place = elf, int(line, 16)
            elif name is None:
                name = line
            else:
                if name != "??" or not line.startswith("??"):
                    self._functions[place].append(new_function(name, line))
                name = None


def find_symbols(elf, addresses):
    """Yields each address that lies in a function, and the function's symbol."""
    table = elf.functions
    starts = [start for start, _, _ in table]
    for address in addresses:
        index = bisect.bisect_right(starts, address) - 1
        if index >= 0:
            start, size, symbol = table[index]
            if address == start or address < start + size:
                yield address, symbol


def is_short_for(short, name):
    """Functions of one source file are named without namespace and arguments."""
    return short is None or ("::" not in short and "(" not in short and short in name)
