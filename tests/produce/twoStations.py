#!/usr/bin/env python3
"""twoStations.py PRODUCE PREPARE: two stations make the devices of one table with one ledger. The first is killed, so that
the second has to wait for devices that the first has claimed, until the first runs again."""
import time

from lineKit import PATIENCE, Line, run_tests, wait_for

DEVICES = 300


def test_two_stations_make_the_devices_of_one_table(folder):
    line = Line(folder, devices=DEVICES, steps=3)

    def start(station):
        return line.start(["run", line.folder / "job.json", "--devices", line.folder / "devices.csv", "--ledger", line.db,
                           "--station", station, "--station-key", line.folder / f"{station}.pem", "--workers", "1", "-o",
                           line.folder / station])

    def made(station):
        return {path.name for path in (line.folder / station).glob("SN*")}

    for name in "ab":
        line.call(0, "ledger", "station-key", "--station-key", line.folder / f"{name}.pem")
    first = start("a")
    wait_for(lambda: made("a"), "the first device")
    first.kill()
    first.communicate()
    assert len(made("a")) < DEVICES, "the run ended before it was killed"
    second = start("b")
    time.sleep(1)  # so that the second run asks for devices of the killed one
    first = start("a")
    for station, run in (("a", first), ("b", second)):
        output, errors = run.communicate(timeout=PATIENCE)
        assert run.returncode == 0, f"station {station} ended with {run.returncode}:\n{output}{errors}"
    assert not made("a") & made("b"), "both stations made a device"
    assert len(made("a") | made("b")) == DEVICES, "a device is missing"
    product = line.status()["products"][0]
    assert (product["proven"], product["failed"], product["open"]) == (DEVICES, 0, 0), product
    for name in "ab":
        line.call(0, "record", "verify", "--public", line.folder / f"{name}.pem.pub", line.folder / name / "record.jsonl")


run_tests(globals())
