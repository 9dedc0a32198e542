"""Runs the console examples of a document and compares what they print with what the document says.

Each ```console block holds commands after "$ ", which bash runs in a folder of the document's own, one after the other,
with `tessit` in the path; lines up to the next command are their output, both streams. Durations by the host's clock
differ in every run and stand as 0.0. What a reader need not see stands in <!--setup comments: a script that has to
succeed. Its variables and its folder stay, as do those of `cd`, `export` and `unset` in a console block. Further
blocks:

  ```FORMAT FILE            a file that the commands find
  ```FORMAT FILE#NAME       a function or class of a file in examples/
  ```help VERB              what `tessit help VERB` says
  <!--table NAME-->         up to the next empty line: one of the tables in sources.py

All that is JSON is checked against the schemas in docs/json. With --update the document gets what was printed. The
further options tell of what the document has to have:

  --every-command           a result of each command of tessit
  --every-verb              the help of each verb, and each option for all commands in the prose
  --every-exit-code         a row of a table for each
"""

import argparse
import difflib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import jsonschema

from sources import excerpt, tables

repository = pathlib.Path(__file__).resolve().parents[2]
schemas = {path.name: json.loads(path.read_text()) for path in (repository / "docs/json").glob("*.schema.json")}


def schema_of(value):
    if "event" in value:
        return "event.schema.json"
    if "image_sha256" in value:
        return "record.schema.json"
    return "result.schema.json" if "tessit" in value else "rtt-line.schema.json"


def validate(value):
    schema = schemas[schema_of(value)]
    resolver = jsonschema.RefResolver("", schema, store=schemas)
    jsonschema.Draft202012Validator(schema, resolver=resolver).validate(value)


def json_values(text):
    """Whole values that begin at the begin of a line, whatever stands between them."""
    decoder = json.JSONDecoder()
    at = 0
    while found := re.compile(r"^\{", re.MULTILINE).search(text, at):
        value, at = decoder.raw_decode(text, found.start())
        yield value


def without_changing_parts(text, folder):
    text = text.replace(str(folder), "/home/you")
    text = re.sub(r"  [0-9]+\.[0-9] s\b", "  0.0 s", text)
    text = re.sub(r"^[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} ", "12:00:00.000 ", text, flags=re.MULTILINE)
    text = re.sub(r'("(?:seconds|time)": ?)[0-9.e-]+', r"\g<1>0.0", text)
    return re.sub(r'("time": ?")[^"]+', r"\g<1>2026-01-01T00:00:00.000Z", text)


def without_common_options(help_text):
    return help_text.split("\nFor all commands, see", maxsplit=1)[0].rstrip("\n") + "\n"


# What changes the words that programs print: pytest does not shorten lines where it takes itself to be in a CI job.
changing_words = ("TESSIT_", "JLINKARM_", "LC_", "PYTEST_")
changing_words_alone = {"CI", "BUILD_NUMBER", "COLUMNS", "FORCE_COLOR"}


def environment(build, folder):
    kept = {
        name: value
        for name, value in os.environ.items()
        if not name.startswith(changing_words) and name not in changing_words_alone
    }
    return {
        **kept,
        "PATH": f"{build}:{kept['PATH']}",
        "HOME": str(folder),
        "XDG_CONFIG_HOME": str(folder / ".config"),
        "JLINKARM_SIM_STATE": str(folder / "chips"),
        "NO_COLOR": "1",
        "BUILD": str(build),
        "REPOSITORY": str(repository),
    }


class Document:
    def __init__(self, build, path, folder):
        self.folder = folder
        self.current = folder
        self.build = build
        self.environment = environment(build, folder)
        self.text = path.read_text()
        self.validated = 0
        self.commands = 0
        self.seen = set()
        self.helps = {}
        self.exit_code = 0

    def run(self, command):
        self.commands += 1
        done = self.bash(f"(exit {self.exit_code})\n{command}")
        self.exit_code = done.returncode
        if command.startswith(("cd ", "export ", "unset ")):
            self.set_up(command)
        for value in json_values(done.stdout):
            validate(value)
            self.validated += 1
            self.seen.add(value.get("command", "") if "error" not in value else "")
        text = done.stdout.replace(str(self.build), "/home/you/tessit/build")
        return without_changing_parts(text, self.folder)

    def bash(self, script):
        return subprocess.run(
            ["bash", "-c", script],
            cwd=self.current,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=300,
            check=False,
        )

    def set_up(self, script):
        variables = self.folder / ".variables"
        done = self.bash(f"set -euo pipefail\n{script}\nenv -0 >{variables}")
        if done.returncode != 0:
            sys.exit(f"this does not succeed:\n{script}\n{done.stdout}")
        self.environment = dict(each.split("=", 1) for each in variables.read_text().split("\0") if each)
        self.current = self.environment["PWD"]

    def replay_block(self, block):
        printed = []
        for command in re.findall(r"^\$ (.*(?:\\\n.*)*)", block, re.MULTILINE):
            command = re.split(r"(?<!\\)\n", command)[0]
            output = self.run(command)
            printed.append(f"$ {command}\n{output}" + ("" if output.endswith("\n") or not output else "\n"))
        return "".join(printed)

    def help(self, verb):
        self.helps[verb] = without_common_options(self.run(f"tessit help {verb}"))
        return self.helps[verb]

    def block(self, kind, rest, content):
        head = f"```{kind} {rest}".rstrip()
        if kind == "console":
            return f"{head}\n{self.replay_block(content)}```"
        if kind == "help":
            return f"{head}\n{self.help(rest)}```"
        if "#" in rest:
            return f"{head}\n{excerpt(*rest.split('#'))}```"
        if rest:
            (pathlib.Path(self.current) / rest).write_text(content)
        return f"{head}\n{content}```"

    def replay(self):
        def piece(found):
            if found["fence"]:
                return self.block(found["fence"], found["rest"], found["content"])
            if found["table"]:
                return f"<!--table {found['table']}-->\n{tables[found['table']]()}"
            self.set_up(found["script"])
            return found[0]

        return re.sub(
            r"```(?P<fence>\w+) ?(?P<rest>[^\n]*)\n(?P<content>.*?)```"
            r"|<!--table (?P<table>\w+)-->\n.*?\n(?=\n)"
            r"|<!--setup\n(?P<script>.*?)-->",
            piece,
            self.text,
            flags=re.DOTALL,
        )


def require_every_command(document):
    """Those of the schema, which has to know the verbs of the command line."""
    known = schemas["result.schema.json"]["else"]["properties"]["command"]["enum"]
    told = document.run("tessit unknown 2>&1 | sed -n 's/^Hint: Commands are: //p'").strip(".\n").split(", ")
    if {command.split()[0] for command in known} != set(told):
        sys.exit(f"the schema knows other verbs than the command: {told}")
    if missing := set(known) - document.seen:
        sys.exit(f"no result of: {sorted(missing)}")


def require_every_verb(document):
    def require_from(verb):
        if verb not in document.helps:
            sys.exit(f"no help of: tessit {verb}")
        verbs_below = document.helps[verb].partition("\nCommands:\n")[2].split("\n\n")[0]
        for name in re.findall(r"^  ([\w-]+)", verbs_below, re.MULTILINE):
            require_from(f"{verb} {name}".strip())

    require_from("")
    told = set(re.findall(r"^  .*?(--[\w-]+)", document.helps[""], re.MULTILINE))
    if missing := {option for option in told if f"`{option}" not in document.text}:
        sys.exit(f"nothing is said of: {sorted(missing)}")


def require_every_exit_code(document):
    summary = " ".join(document.run("tessit help").partition("Exit codes:")[2].split())
    for code in re.findall(r"(?:^|, )(\d+) ", summary):
        if f"\n| {code} | " not in document.text:
            sys.exit(f"no row of exit code {code}")


checks = {
    "every-command": require_every_command,
    "every-verb": require_every_verb,
    "every-exit-code": require_every_exit_code,
}


def report_difference(said, printed):
    lines = difflib.unified_diff(said.splitlines(True), printed.splitlines(True), "the document", "what it would print")
    sys.exit("".join(lines))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--update", action="store_true")
    for name in checks:
        parser.add_argument(f"--{name}", dest="checks", action="append_const", const=name, default=[])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("document", type=pathlib.Path)
    asked = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copytree(repository / "examples/firmware", folder / "firmware", ignore=shutil.ignore_patterns("*.c"))
        document = Document(asked.build.resolve(), asked.document, folder)
        printed = document.replay()
        for check in asked.checks:
            checks[check](document)
    if asked.update:
        asked.document.write_text(printed)
    elif printed != document.text:
        report_difference(document.text, printed)
    print(f"{asked.document.name}: {document.commands} commands, {document.validated} JSON values valid")


main()
