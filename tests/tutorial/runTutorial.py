#!/usr/bin/env python3
"""runTutorial.py PAGE EXAMPLES FOLDER...: runs each line of the ```sh blocks of PAGE in an empty folder, with the FOLDERs on
the PATH and the variable EXAMPLES set. Variables that a line sets are set in later lines. Every line has to end with status
0. A ```text block lists words that the output of the ```sh block before it has to contain, in this order."""
import os
import re
import subprocess
import sys
import tempfile


def run(block, folder, environment):
    """The output of all lines of a block."""
    output = ""
    for line in block.replace("\\\n", " ").splitlines():
        script = f"set -a; . {folder}.variables; {line}\nstatus=$?; export -p > {folder}.variables; exit $status"
        done = subprocess.run(["sh", "-c", script], cwd=folder, env=environment, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        output += done.stdout
        if done.returncode != 0:
            sys.exit(f"{line}\nended with {done.returncode}:\n{done.stdout}")
    return output


def check_words(block, output):
    at = 0
    for words in block.splitlines():
        found = output.find(words, at)
        if found < 0:
            sys.exit(f"The output lacks these words of the page, or has them in another order:\n{words}\n\nThe output:\n{output}")
        at = found + len(words)


def main():
    page, examples, *folders = (os.path.abspath(path) for path in sys.argv[1:])
    environment = dict(os.environ, EXAMPLES=examples, PATH=":".join(folders + [os.environ["PATH"]]))
    with open(page, encoding="utf-8") as file:
        blocks = re.findall(r"^```(sh|text)\n(.*?)^```$", file.read(), re.MULTILINE | re.DOTALL)
    if not any(kind == "sh" for kind, _ in blocks):
        sys.exit(f"{page} has no line to run")
    output = ""
    with tempfile.TemporaryDirectory() as place:
        folder = os.path.join(place, "empty")
        os.mkdir(folder)
        open(folder + ".variables", "w", encoding="utf-8").close()
        for kind, block in blocks:
            if kind == "sh":
                output = run(block, folder, environment)
            else:
                check_words(block, output)


main()
