"""Runs the console examples of a document and compares what they print with what the document says.

Usage: run_document.py [--update] [--every-command] BUILD_FOLDER DOCUMENT

Each ```console block holds commands after "$ ", which bash runs in a folder of the document's own, one after the other,
with `tessit` in the path; lines up to the next command are their output, both streams. Durations by the host's clock
differ in every run and stand as 0.0. Blocks of a ```FORMAT FILE fence are files that the commands find. All that is JSON
is checked against the schemas in docs/json. With --update the document gets what was printed.
With --every-command a command of tessit, of which no result is among them, fails.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import jsonschema

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
    text = text.replace(str(folder), "/home/you/line")
    text = re.sub(r"  [0-9]+\.[0-9] s\b", "  0.0 s", text)
    text = re.sub(r'("(?:seconds|time)": ?)[0-9.e-]+', r"\g<1>0.0", text)
    return re.sub(r'("time": ?")[^"]+', r"\g<1>2026-01-01T00:00:00.000Z", text)


def environment(build, folder):
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("TESSIT_", "JLINKARM_", "LC_"))}
    return {**kept, "PATH": f"{build}:{kept['PATH']}", "HOME": str(folder), "XDG_CONFIG_HOME": str(folder / ".config"),
            "JLINKARM_SIM_STATE": str(folder / "chips"), "NO_COLOR": "1"}


class Document:
    def __init__(self, build, path, folder):
        self.folder = folder
        self.environment = environment(build, folder)
        self.text = path.read_text()
        self.validated = 0
        self.commands = 0
        self.seen = set()

    def run(self, command):
        self.commands += 1
        if setting := re.fullmatch(r"export (\w+)=(\S+)", command):
            self.environment[setting[1]] = setting[2]
        done = subprocess.run(["bash", "-c", command], cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300, check=False)
        for value in json_values(done.stdout):
            validate(value)
            self.validated += 1
            self.seen.add(value.get("command", "") if "error" not in value else "")
        return without_changing_parts(done.stdout, self.folder)

    def replay_block(self, block):
        printed = []
        for command in re.findall(r"^\$ (.*(?:\\\n.*)*)", block, re.MULTILINE):
            command = re.split(r"(?<!\\)\n", command)[0]
            output = self.run(command)
            printed.append(f"$ {command}\n{output}" + ("" if output.endswith("\n") or not output else "\n"))
        return "".join(printed)

    def replay(self):
        def block(found):
            if found[1] == "console":
                return f"```console\n{self.replay_block(found[3])}```"
            if found[2]:
                (self.folder / found[2]).write_text(found[3])
            return found[0]

        return re.sub(r"```(\w+) ?(\S*)\n(.*?)```", block, self.text, flags=re.DOTALL)


def require_every_command(document):
    """Those of the schema, which has to know the verbs of the command line."""
    known = schemas["result.schema.json"]["else"]["properties"]["command"]["enum"]
    told = document.run("tessit unknown 2>&1 | sed -n 's/^Hint: Commands are: //p'").strip(".\n").split(", ")
    if {command.split()[0] for command in known} != set(told):
        sys.exit(f"the schema knows other verbs than the command: {told}")
    if missing := set(known) - document.seen:
        sys.exit(f"no result of: {sorted(missing)}")


def main():
    update = "--update" in sys.argv
    build, path = (pathlib.Path(word).resolve() for word in sys.argv[-2:])
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copytree(repository / "examples/firmware", folder / "firmware", ignore=shutil.ignore_patterns("*.c"))
        document = Document(build, path, folder)
        printed = document.replay()
        if "--every-command" in sys.argv:
            require_every_command(document)
    if update:
        path.write_text(printed)
    elif printed != document.text:
        import difflib
        sys.exit("".join(difflib.unified_diff(document.text.splitlines(True), printed.splitlines(True),
                                              "the document", "what its commands print")))
    print(f"{path.name}: {document.commands} commands, {document.validated} JSON values valid")


main()
