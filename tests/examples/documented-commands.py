#!/usr/bin/env python3
"""Runs what a document shows as commands, in their order, and fails unless each prints what stands below it.

    documented-commands.py DOCUMENT WORK_DIR [--shell SHELL] [--program NAME=FILE]... [--examples DIR]

A command is an indented line "$ COMMAND". Below it stands its output, errors and all; a line "..." stands for any lines,
and of times only the unit counts. It ends with status 0, or the one that a comment says: "$ COMMAND   # exit status 1".
"$ cat FILE" of a file that is not there yet writes the file: this is how a document says what its reader is to type.
SHELL runs the commands, and may be one in another root; else WORK_DIR is made anew, with the examples in it, and
PROGRAMs are found by their names, which may be relative paths.
"""
import argparse
import difflib
import os
import re
import shlex
import shutil
import subprocess
import sys


def commands_of(text):
    """Pairs of a command and the lines shown below it. Blank lines belong to the block that goes on behind them."""
    commands = []
    for block in re.findall(r"(?:^(?:    .*)?\n)+", text, re.MULTILINE):
        lines = block.strip("\n").split("\n")
        if not lines[0].startswith("    $ "):
            continue
        for line in lines:
            if line.startswith("    $ "):
                commands.append((line[6:], []))
            else:
                commands[-1][1].append(line[4:])
    return [(command, "\n".join(shown).rstrip("\n")) for command, shown in commands]


def without_times(text):
    text = re.sub(r"(?m) +$", "", text)
    return re.sub(r"\b\d+(\.\d+)?( and \d+(\.\d+)?)? (ms|s)\b", r"# \4", text)


def agrees(shown, printed):
    lines = without_times(shown).split("\n")
    pattern = "".join(r"(?:.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in lines)
    return re.fullmatch(pattern, without_times(printed) + "\n") is not None


class Shell:
    def __init__(self, shell, work, environment):
        self.shell, self.work, self.environment = shell, work, environment

    def run(self, command, text=""):
        script = f"cd {shlex.quote(self.work)} && {{ {command}\n}}"
        return subprocess.run([*self.shell, "-c", script], input=text, text=True, env=self.environment, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def problem_of(self, command, shown):
        """What is wrong with it, or nothing."""
        file = re.fullmatch(r"cat (\S+)", command)
        if file and self.run(f"test -e {file[1]}").returncode != 0:
            return self.run(f"cat >{file[1]}", shown + "\n").stdout
        status = re.search(r"# exit status (\d)", command)
        ran = self.run(command)
        printed = ran.stdout.rstrip("\n")
        problem = ""
        if ran.returncode != (int(status[1]) if status else 0):
            problem += f"exit status {ran.returncode}\n"
        if not agrees(shown, printed):
            lines = difflib.unified_diff(shown.split("\n"), printed.split("\n"), "document", "program", lineterm="")
            problem += "\n".join(lines) + "\n"
        return problem


def make_work_dir(work, programs, examples):
    shutil.rmtree(work, ignore_errors=True)
    for program in programs:
        name, file = program.split("=", 1)
        link = os.path.join(work, name if "/" in name else f".bin/{name}")
        os.makedirs(os.path.dirname(link), exist_ok=True)
        os.symlink(file, link)
    if examples:
        shutil.copytree(examples, f"{work}/examples")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("document")
    parser.add_argument("work")
    parser.add_argument("--shell")
    parser.add_argument("--program", action="append", default=[])
    parser.add_argument("--examples")
    arguments = parser.parse_args()

    environment = dict(os.environ, LC_ALL="C.UTF-8")
    if not arguments.shell:
        make_work_dir(arguments.work, arguments.program, arguments.examples)
        environment["PATH"] = os.path.abspath(f"{arguments.work}/.bin") + ":" + environment["PATH"]
    shell = Shell(shlex.split(arguments.shell or "bash"), arguments.work, environment)

    with open(arguments.document, encoding="utf-8") as document:
        commands = commands_of(document.read())
    failures = 0
    for command, shown in commands:
        if problem := shell.problem_of(command, shown):
            failures += 1
            print(f"$ {command}\n{problem}")
    print(f"{arguments.document}: {len(commands)} commands, {failures} of which are wrong")
    return 1 if failures or not commands else 0


sys.exit(main())
