"""What documents take from the sources: excerpts of the examples, and tables."""

import pathlib
import re
import sys

repository = pathlib.Path(__file__).resolve().parents[2]


def excerpt(file, name):
    """A definition at the begin of a line, with the lines of comment above it, up to the brace that ends it."""
    lines = (repository / "examples" / file).read_text().splitlines(keepends=True)
    begins = re.compile(rf"(\w.*\b{name}\([^;]*|(class|struct) {name})$")
    first = next((number for number, line in enumerate(lines) if begins.match(line)), None)
    if first is None:
        sys.exit(f"examples/{file} has no {name}")
    last = next(number for number, line in enumerate(lines) if number > first and line.startswith("}"))
    while lines[first - 1].startswith(("//", "/* ")):
        first -= 1
    return "".join(lines[first : last + 1])


def public_header():
    return (repository / "include/jlinkarm_birch_tessit.h").read_text()


def table(*rows):
    head, *body = [f"| {' | '.join(row)} |" for row in rows]
    return "\n".join([head, "|" + "---|" * len(rows[0]), *body]) + "\n"


# What a function needs, by the abbreviations in what the header says of its errors: the last that is there counts.
NEEDS = {
    "": "nothing",
    "[open]": "the library open",
    "[probe]": "a probe session",
    "[rtt]": "RTT started, and the chip still connected",
    "[ready]": "a probe session; they connect the chip",
    "[halt]": "a probe session; they connect the chip and halt its CPU",
    "[transfer]": "QSPI initialized, and the chip still connected; they halt its CPU",
}
STANDS_FOR = {
    "[erase]": "[halt]",
    "[raw]": "[probe]",
    "TESSIT_connect_to_emu_with_snr, and": "[open]",
    "as TESSIT_qspi_read": "[transfer]",
}


def table_of_needs():
    functions = {need: [] for need in NEEDS}
    comment = re.compile(r"^ \* @return Errors:((?:.*\n)*?) \*/\nTESSIT_API.*?TESSIT_([a-z]\w+)\(", re.MULTILINE)
    for errors, name in comment.findall(public_header()):
        for abbreviation, meant in STANDS_FOR.items():
            errors = errors.replace(abbreviation, meant)
        functions[next(need for need in reversed(NEEDS) if need in errors)].append(f"`{name}`")
    rows = [(text, ", ".join(functions[need])) for need, text in NEEDS.items()]
    return table(("They need", "Functions, without `TESSIT_`"), *rows)


def table_of_results():
    """The library's codes, with what the command makes of them."""
    codes = re.findall(r"^    (ERR_\w+) = (-\d+),", public_header(), re.MULTILINE)
    exit_codes = dict(re.findall(r"^    (\w+) = (\d+),", (repository / "cli/failure.h").read_text(), re.MULTILINE))
    source = re.sub(r'"\s*\n\s*"', "", (repository / "cli/session/result.cpp").read_text())
    row = re.compile(r'ResultText\{(\w+),\s*"\w+",\s*ExitCode::(\w+),\s*"([^"]*)",\s*"([^"]*)"\}')
    texts = {
        name: (exit_codes[kind], meaning, hint or "[below](#the-chip-is-protected)")
        for name, kind, meaning, hint in row.findall(source)
    }
    rows = [(f"`{name}`", value, *texts[name]) for name, value in codes]
    return table(("Result", "Code", "Exit code", "What it means", "What to do"), *rows)


tables = {"results": table_of_results, "needs": table_of_needs}
