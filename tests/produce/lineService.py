#!/usr/bin/env python3
"""lineService.py PRODUCE PREPARE [TEST...]: tests devices on request, from standard input and from `serve`, and checks
each event and answer against docs/produce-events.schema.json."""
import json
import os
import pathlib
import signal
import time

import jsonschema

from lineKit import PREPARE, Line, run_tests, wait_for

SCHEMA = json.loads((pathlib.Path(PREPARE).parent.parent.parent / "docs/produce-events.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(SCHEMA)
EVENTS = jsonschema.Draft202012Validator(SCHEMA)
ANSWERS = jsonschema.Draft202012Validator({"$ref": "#/$defs/answer", "$defs": SCHEMA["$defs"]})


def read(text, validator=EVENTS):
    """The objects of all lines, after a check."""
    objects = [json.loads(line) for line in text.splitlines()]
    for one in objects:
        validator.validate(one)
    return objects


class Server:
    def __init__(self, line):
        self.line = line
        self.child = line.start(line.words("serve"))

    def write(self, text):
        self.child.stdin.write(text)
        self.child.stdin.flush()

    def answer(self):
        return read(self.child.stdout.readline(), ANSWERS)[0]

    def ask(self, number, **more):
        self.write(json.dumps({"serial": f"SN{number:06}", "secrets": f"secrets/x{number:06}.bin", **more}) + "\n")
        return self.answer()

    def end(self, status):
        output, errors = self.child.communicate(timeout=60)
        assert self.child.returncode == status, f"ended with {self.child.returncode}: {errors}"
        return read(output, ANSWERS)


def test_a_request_is_answered_when_its_device_is_committed(folder):
    line = Line(folder)
    server = Server(line)
    assert server.ask(0) == {"serial": "SN000000", "verdict": "proven"}
    assert line.made() == {"SN000000"} and line.status()["products"][0]["proven"] == 1
    assert server.ask(0) == {"serial": "SN000000", "verdict": "proven", "before": True}
    assert server.end(0) == []
    line.verify()


def test_a_proven_device_needs_its_files_no_more(folder):
    line = Line(folder)
    line.run(0)
    (line.folder / "secrets/x000000.bin").unlink()
    server = Server(line)
    assert server.ask(0)["verdict"] == "proven"
    assert server.end(0) == []


def test_requests_that_cannot_be_made_claim_nothing(folder):
    line = Line(folder)
    (line.folder / "secrets/open.bin").write_bytes(bytes(48))
    (line.folder / "secrets/open.bin").chmod(0o644)
    server = Server(line)
    good = {"serial": "SN7", "secrets": "secrets/x000000.bin"}
    # Each row is a request, the verdict, and a part of the reason.
    for request, verdict, reason in (
            ("", None, None),
            ("{", "refused", "JSON"),
            ("[]", "refused", "serial"),
            ("\0\0", "refused", "JSON"),
            ("\ud800".encode("utf-8", "surrogatepass"), "refused", "JSON"),
            ({}, "refused", "serial"),
            ({**good, "serial": 7}, "refused", "serial"),
            ({**good, "serial": "../7"}, "refused", "serial"),
            ({**good, "serial": "a\x1b[2J"}, "refused", "serial"),
            ({**good, "serial": "S" * 4000}, "refused", "serial"),
            ({**good, "serial": "void"}, "refused", "void"),
            ({**good, "extra": "1"}, "refused", "member"),
            ({"serial": "SN7"}, "refused", "column secrets"),
            ({**good, "secrets": 1}, "refused", "column secrets"),
            ({**good, "secrets": "secrets/none.bin"}, "failed", "steps[1].values.secrets: "),
            ({**good, "secrets": "secrets"}, "failed", "steps[1].values.secrets: "),
            ({**good, "secrets": "/dev/zero"}, "failed", "steps[1].values.secrets: "),
            ({**good, "secrets": "secrets/open.bin"}, "failed", "chmod 600"),
            ({**good, "secrets": ""}, "failed", "steps[1].values.secrets: "),
            ({**good, "secrets": "-k"}, "failed", "steps[1].values.secrets: ")):
        if isinstance(request, bytes):
            server.child.stdin.flush()
            os.write(server.child.stdin.fileno(), request + b"\n")
        else:
            server.write((request if isinstance(request, str) else json.dumps(request)) + "\n")
        if verdict is not None:
            answer = server.answer()
            assert answer["verdict"] == verdict and reason in answer["reason"], (request, answer)
    assert server.ask(1)["verdict"] == "proven"
    assert server.end(1) == []
    assert line.made() == {"SN000001"} and not line.void()
    assert line.status()["products"][0]["failed"] == 0, "a refused request is a failed attempt in the ledger"
    line.verify()


def test_requests_in_pieces_and_many_at_once(folder):
    line = Line(folder, devices=20)
    server = Server(line)
    text = "".join(json.dumps({"serial": f"SN{n:06}", "secrets": f"secrets/x{n:06}.bin"}) + "\r\n" for n in range(20))
    for start in range(0, 300, 7):
        server.write(text[start:start + 7])
        time.sleep(0.001)
    server.write(text[301 if len(text) < 301 else start + 7:])
    answers = [server.answer() for _ in range(20)]
    assert {answer["serial"] for answer in answers} == {f"SN{n:06}" for n in range(20)}
    assert all(answer["verdict"] == "proven" for answer in answers), answers
    assert server.end(0) == []
    line.verify()


def test_a_request_that_is_cut_off_is_refused(folder):
    line = Line(folder)
    server = Server(line)
    assert server.ask(0)["verdict"] == "proven"
    server.write('{"serial":"SN000001","secrets":"secrets/x000001.bin"}')
    assert [answer["verdict"] for answer in server.end(0)] == ["refused"]
    assert line.made() == {"SN000000"}


def test_a_request_that_never_ends_is_refused(folder):
    line = Line(folder)
    server = Server(line)
    try:
        for _ in range(40):
            server.write("x" * 65536)
    except BrokenPipeError:
        pass
    assert server.answer()["verdict"] == "refused"
    server.child.kill()
    server.child.communicate()
    assert not line.made()


def test_a_client_that_reads_no_answers_loses_none(folder):
    line = Line(folder, devices=1)
    server = Server(line)
    count = 3000  # their answers don't fit into a pipe
    server.write('{"serial":"bad name!"}\n' * count + json.dumps({"serial": "SN000000", "secrets": "secrets/x000000.bin"}) + "\n")
    time.sleep(0.5)
    answers = server.end(0)
    assert len(answers) == count + 1 and answers[-1]["verdict"] == "proven", len(answers)


def test_a_signal_ends_the_service(folder):
    for number in (signal.SIGTERM, signal.SIGINT):
        line = Line(folder, name=number.name)
        server = Server(line)
        assert server.ask(0)["verdict"] == "proven"
        server.child.send_signal(number)
        assert server.child.wait(timeout=10) == 3
        server.end(3)
        line.verify()


def test_rows_of_a_pipe_are_checked_and_made(folder):
    line = Line(folder)
    rows = ["serial,secrets", line.row(0), "SN1,secrets/none.bin", line.row(1)]
    output, errors = line.run(1, "--devices", "-", "--json", input="\n".join(rows))
    events = read(output)
    assert {(event["serial"], event["verdict"]) for event in events if event["event"] == "device"} == {
        ("SN000000", "proven"), ("SN1", "failed"), ("SN000001", "proven")}
    assert "SN1: steps[1].values.secrets" in errors and not line.void(), errors
    for bad, reason in ((line.row(2) + "\n" + line.row(2), "occurs twice"), ("SN5", ":2:"), ("SN5,a,b", ":2:")):
        _, errors = line.run(1, "--devices", "-", input="serial,secrets\n" + bad + "\n")
        assert reason in errors, errors
    line.verify()


def test_events_of_all_kinds(folder):
    line = Line(folder, devices=4)
    line.write_table(line.row(0))
    seen = read(line.run(0, "--json")[0])
    assert [event["event"] for event in seen if event["event"] != "checkpoint"] == ["start", "device", "end"], seen
    assert seen[-1]["status"] == 0 and seen[-1]["proven"] == 1
    child = line.start(line.words("run", "--workers", "1", "--devices", "-", "--json"))
    child.stdin.write("serial,secrets\n" + line.row(1) + "\n")
    child.stdin.flush()
    wait_for(lambda: len(line.made()) == 2, "the device")
    child.kill()  # before or after the device is committed
    child.communicate()
    child = line.start(line.words("run", "--devices", "-", "--json"))
    child.stdin.write("serial,secrets\n" + line.row(0) + "\nSN8,none\n")
    child.stdin.flush()
    time.sleep(10.3)
    child.send_signal(signal.SIGTERM)
    output, errors = child.communicate(timeout=60)
    assert child.returncode == 3, errors
    more = read(output)
    assert {"start", "device", "progress", "end"} <= {event["event"] for event in more}, more
    assert any(event.get("before") for event in more) and more[-1]["status"] == 3, more
    assert "2 devices, 1 failed" in errors, errors
    line.call(0, "one", line.folder / "job.json", "--serial", "SN9", "--column", "secrets=secrets/x000003.bin",
              "--ledger", line.db, "-o", line.out)
    line.verify()


def test_the_schema_rejects_other_events(_):
    events = [{"event": "start", "product": "p", "station": "s", "recovered": 0},
              {"event": "device", "serial": "S", "verdict": "failed", "reason": "r"},
              {"event": "end", "proven": 0, "provenBefore": 0, "failed": 0, "interrupted": 0, "held": 0, "milliseconds": 1,
               "status": 0}]
    for event in events:
        EVENTS.validate(event)
        for key in event:
            assert not EVENTS.is_valid({name: value for name, value in event.items() if name != key}), (event, key)
        assert not EVENTS.is_valid({**event, "more": 1}), event
    for event in ({"event": "other"}, {**events[1], "verdict": "proven"}, {**events[1], "serial": "a/b"},
                  {**events[2], "status": 2}, {**events[0], "recovered": -1}):
        assert not EVENTS.is_valid(event), event


run_tests(globals())
