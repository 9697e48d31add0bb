"""The files of a build."""

import collections
import os
import posixpath
import stat

from zor_report.elf_file import ElfFile


class Build:
    """The programs and libraries in files and folders, with their separate symbols."""

    def __init__(self, paths):
        self._by_name = collections.defaultdict(list)
        self._by_id = collections.defaultdict(list)
        for path in paths:
            self._add_folder(path) if os.path.isdir(path) else self._add_file(path)

    def __bool__(self):
        return bool(self._by_name)

    def _add_folder(self, path):
        count = 0
        for folder, _, names in os.walk(path):
            for name in names:
                try:
                    self._add(os.path.join(folder, name))
                    count += 1
                except (OSError, ValueError):
                    pass  # a file of another kind
        if count == 0:
            raise ValueError(f"{path}: holds no program and no library")

    def _add_file(self, path):
        elf = self._add(path)
        if elf.debug_name and not elf.has_lines:
            folder = os.path.dirname(path)
            for beside in (os.path.join(folder, elf.debug_name),
                           os.path.join(folder, ".debug", elf.debug_name)):
                if os.path.exists(beside):
                    self._add(beside)

    def _add(self, path):
        if not stat.S_ISREG(os.stat(path).st_mode):
            raise ValueError(f"{path}: no file")
        elf = ElfFile(path)
        self._by_name[os.path.basename(path).removesuffix(".debug")].append(elf)
        if elf.build_id:
            self._by_id[elf.build_id].append(elf)
        return elf

    def find_id(self, build_id):
        """The file of a build id, or of its beginning, that tells most about it."""
        elves = self._by_id.get(build_id) or [
            elf for whole, elves in self._by_id.items() if whole.startswith(build_id)
            for elf in elves]
        return max(elves, default=None,
                   key=lambda elf: (elf.has_lines, elf.has_symbols, elf.path))

    def find_name(self, path, bits):
        """The files of this name that differ from each other."""
        elves = [elf for elf in self._by_name.get(posixpath.basename(path), ())
                 if elf.bits in bits]
        return ([self.find_id(build_id) for build_id in {elf.build_id for elf in elves} - {None}] +
                [elf for elf in elves if not elf.build_id])
