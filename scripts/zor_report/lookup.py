"""The functions of a report's backtrace."""

import re

from zor_report.addresses import Addresses, demangle, new_function
from zor_report.reports import SIGNALS

SHARED = re.compile(r"\.so(\.[^/]*)?$")
RUN_TIME = re.compile(r"(^|/)lib(c|stdc\+\+|gcc_s|pthread)[-.]")
PAGE = 4096


def look_up(reports, build, is_forced):
    """Completes the reports: "build", and of the frames "functions" and "crashed"."""
    addresses = Addresses()
    places = [find_places(report, build, is_forced) for report in reports]
    for place in (place for of_report in places for place in of_report if place):
        addresses.want(*place)
    addresses.look_up()
    for report, of_report in zip(reports, places):
        frames = report["backtrace"]
        for frame, place in zip(frames, of_report):
            at_fault = frame is frames[0] and report["what"] in SIGNALS
            # An offset of 0 is where the call went; the other addresses are where calls return to.
            if at_fault or (frame["symbol"] and frame["offset"] == "+0"):
                frame["functions"] = addresses.at(place)
            else:
                frame["functions"] = addresses.behind_call(place)
        if frames:
            find_failed(frames)["crashed"] = True
    name_by_symbol([frame for report in reports for frame in report["backtrace"]
                    if frame["symbol"] and not frame["functions"]])


def find_places(report, build, is_forced):
    """For each frame the file of the build and the address in it, or None."""
    frames = report["backtrace"]
    modules = dict.fromkeys(frame["module"] for frame in frames if frame["address"])
    program = next((module for module in modules if module and not SHARED.search(module)),
                   report["application"] or "")
    bits = {64 if any(int(frame["address"] or "0", 16) >> 32 for frame in frames) else 32}
    elf = find_program(report, build, program, bits if modules else {32, 64})
    if report["build"] and report["build"]["status"] == "mismatch" and not is_forced:
        return [None] * len(frames)
    places = {}
    for module in modules:
        if module == program or (module is None and elf and elf.is_fixed):
            elf_of_module = elf
        else:
            elf_of_module = only(build.find_name(module or "", bits))
        if elf_of_module:
            of_module = [frame for frame in frames if frame["module"] == module]
            base = find_base(of_module, elf_of_module)
            places[module] = elf_of_module, base
    return [place_of(frame, *places.get(frame["module"], (None, None))) for frame in frames]


def find_program(report, build, name, bits):
    """The program's file, if there is one; says in the report how it fits."""
    if not build:
        return None
    build_id = report["build_id"]
    elf = build.find_id(build_id) if build_id else None
    status = "match"
    if elf is None:
        elves = build.find_name(name, {32, 64} if build_id else bits)
        elf = only(elves)
        status = "unknown" if elf else "ambiguous" if elves else "missing"
        if build_id and elves and all(other.build_id for other in elves):
            status = "mismatch"
    report["build"] = {"status": status, "file": elf and elf.path,
                       "build_id": elf and elf.build_id}
    if elf and not elf.has_lines:
        report["notes"].append(f"{elf.path} has no debug information.")
    return elf


def only(items):
    return items[0] if len(items) == 1 else None


def find_base(frames, elf):
    """The address at which a file was loaded, from the first frame that tells it; None without."""
    if elf.is_fixed:
        return 0
    for frame in frames:
        if frame["address"] and frame["offset"]:
            place = int(frame["address"], 16) - int(frame["offset"], 16)
            if frame["symbol"] is None:
                return place
            for address, _, name in elf.functions:
                if name == frame["symbol"] and place >= address and (place - address) % PAGE == 0:
                    return place - address
    return None


def place_of(frame, elf, base):
    address = int(frame["address"] or "0", 16)
    return None if base is None or address <= base else (elf, address - base)


def find_failed(frames):
    """The frame to look at first: the first one outside the run-time library whose source is known.
    It called what failed, be that in the library or at an address without code."""
    outside = [frame for frame in frames if not RUN_TIME.search(frame["module"] or "")]
    return next((frame for frame in outside for function in frame["functions"] if function["file"]),
                next((frame for frame in outside if frame["module"]), frames[0]))


def name_by_symbol(frames):
    """Names frames that lie in none of the build's files by their symbols, if they have any."""
    names = demangle(frame["symbol"] for frame in frames)
    for frame in frames:
        frame["functions"] = [new_function(names.get(frame["symbol"], frame["symbol"]))]
