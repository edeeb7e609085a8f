#!/usr/bin/env python3
"""twoStations.py PRODUCE PREPARE: two stations make the devices of one table with one ledger. The first is killed, so that
the second has to wait for devices that the first has claimed, until the first runs again."""
import os
import pathlib
import subprocess
import sys
import tempfile
import time

produce, prepare = map(os.path.abspath, sys.argv[1:])
devices = 300
patience = 60


def call(*words, **options):
    return subprocess.run([produce, *map(str, words)], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False, timeout=patience, **options)


def start(line, station):
    """Starts a run of the whole table."""
    return subprocess.Popen(
        [produce, "run", line / "job.json", "--devices", line / "devices.csv", "--ledger", line / "line.db", "--station", station,
         "--station-key", line / f"{station}.pem", "--workers", "1", "-o", line / station],
        text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def made(line, station):
    """The serials in the station's folder."""
    return {path.name for path in (line / station).glob("SN*")}


def wait_for(condition, what):
    end = time.monotonic() + patience
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"waited in vain for {what}")
        time.sleep(0.01)


def main():
    with tempfile.TemporaryDirectory() as folder:
        line = pathlib.Path(folder) / "line"
        subprocess.run([prepare, line, str(devices)], check=True, stderr=subprocess.DEVNULL)
        for words in (["ledger", "init", "--ledger", line / "line.db"],
                      *(["ledger", "station-key", "--station-key", line / f"{name}.pem"] for name in "ab")):
            done = call(*words)
            assert done.returncode == 0, done.stdout
        first = start(line, "a")
        wait_for(lambda: made(line, "a"), "the first device")
        first.kill()
        first.communicate()
        assert len(made(line, "a")) < devices, "the run ended before it was killed"
        second = start(line, "b")
        time.sleep(1)  # so that it asks for devices of the killed run
        first = start(line, "a")
        for station, run in (("a", first), ("b", second)):
            output, _ = run.communicate(timeout=patience)
            assert run.returncode == 0, f"station {station} ended with {run.returncode}:\n{output}"
        assert not made(line, "a") & made(line, "b"), "both stations made a device"
        assert len(made(line, "a") | made(line, "b")) == devices, "a device is missing"
        status = call("status", "--ledger", line / "line.db").stdout
        assert f"{devices} proven, 0 failed" in status and " 0 open" in status, status
        for station in "ab":
            done = call("record", "verify", "--public", line / f"{station}.pem.pub", line / station / "record.jsonl")
            assert done.returncode == 0, done.stdout


main()
