"""The functions of a report's backtrace."""

import re

from zor_report.addresses import Addresses, demangle, new_function
from zor_report.reports import SIGNALS

SHARED = re.compile(r"\.so(\.[^/]*)?$")
OWN_CODE = re.compile(r"(^|/)diagnostics/[^/]+$")
SIGNAL_RETURN = re.compile(r"__restore(_rt)?|__default_(rt_)?sa_restorer|__kernel_rt_sigreturn")
PAGE = 4096


def look_up(reports, build, is_forced):
    """Completes the reports: "build", and of the frames "functions", "role" and "crashed"."""
    addresses = Addresses()
    places = [find_places(report, build, is_forced) for report in reports]
    for place in (place for of_report in places for place in of_report if place):
        addresses.want(*place)
    addresses.look_up()
    for report, of_report in zip(reports, places):
        for frame, place in zip(report["backtrace"], of_report):
            frame["functions"] = addresses.behind_call(place)
        mark_crash(report, of_report, addresses)
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
    """Where a file was loaded: not all frames tell, but one is enough. None if no one does."""
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


def mark_crash(report, places, addresses):
    """Tells the report's own frames, the signal's way in and the frame that failed."""
    frames = report["backtrace"]
    is_signal = report["what"] in SIGNALS
    own = count_own_frames(frames, is_signal)
    for frame in frames[:own]:
        frame["role"] = "report"
    failed, c_library = own, None
    if is_signal and 0 < own < len(frames) and is_signal_return(places[own], addresses):
        frames[own]["role"] = "signal"
        c_library = frames[own]["module"]
        failed += 1
    if failed < len(frames) and (own > 0 or is_signal and has_functions(frames)):
        if is_signal:
            frames[failed]["functions"] = addresses.at_fault(places[failed])
        find_culprit(frames[failed:], c_library)["crashed"] = True


def find_culprit(frames, c_library):
    """What fails in a library fails for the function that called it: the first one whose source is
    known, or at least outside of the C library."""
    if c_library and SHARED.search(c_library):
        outside = [frame for frame in frames if frame["module"] not in (None, c_library)]
    else:
        outside = frames
    return next((frame for frame in outside for function in frame["functions"] if function["file"]),
                (outside or frames)[0])


def has_functions(frames):
    return any(frame["functions"] for frame in frames)


def count_own_frames(frames, is_signal):
    """The first frames are those of the report itself, unless their addresses follow a blank: those
    reports begin where the thread stood."""
    if any(") [" in frame["text"] for frame in frames):
        return 0
    is_own = [any(OWN_CODE.search(function["file"] or "") for function in frame["functions"][-1:])
              for frame in frames] + [False]
    if True in is_own[:3]:  # a sanitizer puts its own before them
        return is_own.index(False, is_own.index(True))
    modules = [frame["module"] for frame in frames]
    if not is_signal or has_functions(frames) or modules[:1] in ([], [None]):
        return 0
    # Without functions: the frames before the one of another file, where the signal came in.
    other = next((i for i, module in enumerate(modules) if module != modules[0]), 0)
    return other if other + 1 < len(modules) else 0


def is_signal_return(place, addresses):
    return place is None or any(SIGNAL_RETURN.fullmatch(function["function"] or "")
                                for function in addresses.at_fault(place))


def name_by_symbol(frames):
    """What is in none of the build's files may have a name nevertheless."""
    names = demangle(frame["symbol"] for frame in frames)
    for frame in frames:
        frame["functions"] = [new_function(names.get(frame["symbol"], frame["symbol"]))]
