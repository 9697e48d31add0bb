"""A report for reading."""

FOLDED = 8


def safe(text):
    """Without what could drive a terminal."""
    if text.isprintable():
        return text
    return "".join(char if char.isprintable() else
                   char.encode("unicode_escape").decode("ascii") for char in text)


def describe_build(report, paths):
    build = report["build"]
    if build is None:
        return "none given, so addresses stay" if report["backtrace"] else None
    whose = report["build_id"] or "?"
    return {
        "match": f"{build['file']}",
        "unknown": f"{build['file']}; the report does not tell whether it is this one",
        "mismatch": f"DOES NOT MATCH: the report is of {whose}, "
                    f"{build['file'] or 'all of that name'} of {build['build_id'] or 'others'}",
        "ambiguous": "several of that name differ, and the report does not tell which",
        "missing": f"MISSING: {whose} is none of {', '.join(paths)}",
    }[build["status"]]


def describe_chain(chain):
    lines = [" ".join([row["function"]] + [f"{parameter['name']}={parameter['value']}"
                                           for parameter in row["parameters"]]) for row in chain]
    start = 0
    while start < len(chain):
        end = start
        while end < len(chain) and chain[end]["function"] == chain[start]["function"]:
            end += 1
        if end - start > FOLDED:
            yield from lines[start:start + 3]
            yield f"... {end - start - 4} more of {chain[start]['function']} ..."
            yield lines[end - 1]
        else:
            yield from lines[start:end]
        start = end


def describe_frame(number, frame):
    mark = "->" if frame["crashed"] else "  "
    if not frame["functions"]:
        yield f"{mark}{number:3}  {frame['text']}"
        return
    for i, function in enumerate(frame["functions"]):
        place = (f"{function['file']}:{function['line'] or '?'}" if function["file"] else
                 frame["text"])
        name = function["function"] or "?"
        yield f"{mark}{number:3}  {name} at {place}" if i == 0 else (
            f"       inlined into {name} at {place}")


def describe(report, paths):
    """The lines of a report."""
    title = [report["application"] or "?", report["version"], report["time"]]
    yield f"{report['file']}:{report['line']}: {' '.join(filter(None, title))}"
    yield from (f"  {line}" for line in (report["what"] or "").split("\n") if line)
    if build := describe_build(report, paths):
        yield f"  Build: {build}"
    if report["stack"]:
        yield f"  Stack: {report['stack']}"
    if report["chain"]:
        yield "  Functions, innermost first:"
        yield from (f"    {line}" for line in describe_chain(report["chain"]))
    if report["threads"]:
        count = report["thread_count"]
        yield f"  Threads in a function{'' if count is None else f', of {count}'}:"
    for thread in report["threads"]:
        yield f"    Thread {thread['id']} policy={thread['policy']} priority={thread['priority']}"
        yield from (f"      {line}" for line in describe_chain(thread["chain"]))
    if report["backtrace"]:
        yield "  Backtrace:"
    for number, frame in enumerate(report["backtrace"]):
        yield from (f"  {line}" for line in describe_frame(number, frame))
    yield from (f"  Note: {note}" for note in report["notes"])
