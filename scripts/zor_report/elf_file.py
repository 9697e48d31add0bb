"""What an ELF file says about itself."""

import collections
import functools
import os
import shutil
import struct

PROGRAM, LIBRARY = 2, 3  # a program that can be loaded anywhere counts as a library
SYMBOLS, DYNAMIC_SYMBOLS = 2, 11
FUNCTION, INDIRECT_FUNCTION = 2, 10
TOOL_PREFIXES = {3: "i686-linux-gnu-", 40: "arm-linux-gnueabihf-", 62: "x86_64-linux-gnu-",
                 183: "aarch64-linux-gnu-"}

Section = collections.namedtuple("Section", "name type offset size link type_offset")


def read_at(file, offset, size):
    file.seek(offset)
    return file.read(min(size, os.fstat(file.fileno()).st_size))


def text_at(texts, offset):
    return texts[offset:texts.index(b"\0", offset)].decode("utf-8", "backslashreplace")


class ElfFile:
    """A program, a library or the symbols of one. Raises ValueError for any other file."""

    def __init__(self, path):
        self.path = path
        try:
            with open(path, "rb") as file:
                self._read(file)
        except (struct.error, IndexError, OverflowError, ValueError) as error:
            raise ValueError(f"{path}: no program and no library") from error

    def _read(self, file):
        head = file.read(64)
        if head[:4] != b"\x7fELF":
            raise ValueError
        self.bits = {1: 32, 2: 64}.get(head[4])
        self._is_wide = self.bits == 64
        self._order = ">" if head[5] == 2 else "<"
        kind, machine = self._unpack("HH", head, 16)
        if not self.bits or kind not in (PROGRAM, LIBRARY):
            raise ValueError
        self.is_fixed = kind == PROGRAM
        self.tool_prefix = TOOL_PREFIXES.get(machine, "")
        self.sections = list(self._read_sections(file, head))
        self.has_lines = any(row.name in (".debug_info", ".zdebug_info") for row in self.sections)
        self.has_symbols = any(row.type == SYMBOLS for row in self.sections)
        self.build_id = None
        self.debug_name = None  # of the file with its debug information
        for row in self.sections:
            if row.name == ".gnu_debuglink":
                self.debug_name = text_at(read_at(file, row.offset, row.size), 0)
            if row.name == ".note.gnu.build-id":
                note = read_at(file, row.offset, min(row.size, 256))
                name_size, id_size = self._unpack("II", note, 0)
                start = 12 + (name_size + 3) // 4 * 4
                self.build_id = note[start:start + id_size].hex() or None

    def _unpack(self, layout, data, offset):
        return struct.unpack_from(self._order + layout, data, offset)

    def _read_sections(self, file, head):
        start, = self._unpack("Q" if self._is_wide else "I", head, 40 if self._is_wide else 32)
        size, count, names = self._unpack("HHH", head, 58 if self._is_wide else 46)
        table = read_at(file, start, size * count)
        layout = "II16xQQI" if self._is_wide else "II8xIII"
        rows = [self._unpack(layout, table, size * i) for i in range(count)]
        _, _, names_offset, names_size, _ = rows[names]
        texts = read_at(file, names_offset, names_size)
        for i, (name, *row) in enumerate(rows):
            yield Section(text_at(texts, name), *row, type_offset=start + size * i + 4)

    @functools.cached_property
    def functions(self):
        """The file's functions as (address, size, symbol), by address."""
        try:
            with open(self.path, "rb") as file:
                return sorted(self._read_functions(file))
        except (struct.error, IndexError, OverflowError, ValueError) as error:
            raise ValueError(f"{self.path}: its symbols are damaged") from error

    def _read_functions(self, file):
        layout = struct.Struct(self._order + ("IBxHQQ" if self._is_wide else "IIIBxH"))
        for table in self.sections:
            # Separate symbols have the dynamic linker's table without its content.
            if table.type != SYMBOLS and (table.type != DYNAMIC_SYMBOLS or self.has_symbols):
                continue
            strings = self.sections[table.link]
            texts = read_at(file, strings.offset, strings.size)
            rows = read_at(file, table.offset, table.size)
            for row in layout.iter_unpack(rows[:len(rows) // layout.size * layout.size]):
                if self._is_wide:
                    name, info, section, address, size = row
                else:
                    name, address, size, info, section = row
                if info & 15 in (FUNCTION, INDIRECT_FUNCTION) and section != 0:
                    if self.tool_prefix.startswith("arm"):
                        address &= ~1  # an odd one says that the code is Thumb
                    yield address, size, text_at(texts, name)

    def copy_without_symbols(self, copy):
        with open(self.path, "rb") as file:
            shutil.copyfileobj(file, copy)
        for row in self.sections:
            if row.type in (SYMBOLS, DYNAMIC_SYMBOLS):
                copy.seek(row.type_offset)
                copy.write(b"\0\0\0\0")
        copy.flush()
