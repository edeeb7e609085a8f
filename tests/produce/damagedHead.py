#!/usr/bin/env python3
"""damagedHead.py PRODUCE PREPARE: a run refuses a damaged head of the ledger, until "ledger new-epoch" has written another
one. The record then has the reason of the new epoch."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

produce, prepare = map(os.path.abspath, sys.argv[1:])


def call(status, *words):
    """The output of a command that has to end with `status`."""
    done = subprocess.run([produce, *map(str, words)], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False, timeout=60)
    assert done.returncode == status, f"{words} ended with {done.returncode}:\n{done.stdout}"
    return done.stdout


def main():
    with tempfile.TemporaryDirectory() as folder:
        line = pathlib.Path(folder) / "line"
        subprocess.run([prepare, line, "2"], check=True, stderr=subprocess.DEVNULL)
        ledger = ["--ledger", line / "line.db"]
        out = ["--output", line / "out"]
        run = ["run", line / "job.json", "--devices", line / "devices.csv", *ledger, *out]
        head = line / "out/.qvora/station/head.json"
        call(0, "ledger", "init", *ledger)
        call(0, *run)
        whole = head.read_bytes()
        for damaged in (b"", b"{}\n", whole[:-9], whole.replace(b'"claims":', b'"claims":"'), b"\xff" * 100):
            head.write_bytes(damaged)
            output = call(2, *run)
            assert "isn't the head of a ledger" in output and "ledger new-epoch" in output, output
        call(0, "ledger", "new-epoch", "--reason", "the head is damaged", *ledger, *out)
        output = call(0, *run)
        assert "2 proven before" in output, output
        lines = [json.loads(line) for line in (line / "out/record.jsonl").read_text(encoding="utf-8").splitlines()]
        epochs = [line for line in lines if line["kind"] == "epoch"]
        assert len(epochs) == 1 and epochs[0]["reason"] == "the head is damaged", epochs
        assert json.loads(head.read_bytes())["epoch"] == epochs[0]["epoch"]
        assert epochs[0]["replaced"] == json.loads(whole)["epoch"]


main()
