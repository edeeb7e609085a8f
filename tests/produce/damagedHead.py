#!/usr/bin/env python3
"""damagedHead.py PRODUCE PREPARE: a run refuses a damaged head of the ledger, until "ledger new-epoch" has written another
one. The record then has the reason of the new epoch."""
import json

from lineKit import Line, run_tests


def test_a_damaged_head_is_refused_until_there_is_another(folder):
    line = Line(folder, devices=2)
    head = line.out / ".qvora/station/head.json"
    line.run(0)
    whole = head.read_bytes()
    for damaged in (b"", b"{}\n", whole[:-9], whole.replace(b'"claims":', b'"claims":"'), b"\xff" * 100):
        head.write_bytes(damaged)
        _, errors = line.run(2)
        assert "isn't the head of a ledger" in errors and "ledger new-epoch" in errors, errors
    line.call(0, "ledger", "new-epoch", "--reason", "the head is damaged", "--ledger", line.db, "-o", line.out)
    output, _ = line.run(0)
    assert "2 proven before" in output, output
    epochs = line.record("epoch")
    assert len(epochs) == 1 and epochs[0]["reason"] == "the head is damaged", epochs
    assert json.loads(head.read_bytes())["epoch"] == epochs[0]["epoch"]
    assert epochs[0]["replaced"] == json.loads(whole)["epoch"]


run_tests(globals())
