#!/usr/bin/env python3
"""lineRules.py PRODUCE PREPARE [TEST...]: tests runs in which something goes wrong."""
import json
import os
import pathlib
import pty
import resource
import shutil
import signal
import subprocess

from lineKit import PREPARE, PRODUCE, Line, run_tests, wait_for


def test_a_run_again_makes_only_what_is_missing(folder):
    line = Line(folder, devices=4)
    line.write_table(line.row(0), line.row(1))
    line.run(0)
    before = {path: path.read_bytes() for path in line.out.glob("SN*/*")}
    line.write_table(*map(line.row, range(4)))
    output, _ = line.run(0)
    assert "2 proven" in output and "2 proven before" in output, output
    assert len(line.made()) == 4 and all(path.read_bytes() == content for path, content in before.items())
    line.verify()


def test_a_void_device_is_made_again_with_another_nonce(folder):
    line = Line(folder, devices=1)
    line.run(0)
    old = (line.out / "SN000000/firmware.tbi").read_bytes()
    line.call(0, "void", "--serial", "SN000000", "--reason", "a scratched case", "--ledger", line.db)
    line.run(0)
    assert (line.out / "SN000000/firmware.tbi").read_bytes() != old
    assert (line.out / "void/SN000000-1/firmware.tbi").read_bytes() == old
    recalls = [entry for entry in line.record() if entry.get("reason") == "a scratched case"]
    assert len(recalls) == 1, line.record()
    line.verify()
    _, errors = line.call(2, "void", "--serial", "SN9", "--reason", "unknown", "--ledger", line.db)
    assert "SN9" in errors, errors


def test_a_failed_device_is_named_and_the_others_are_made(folder):
    line = Line(folder)
    line.job["steps"][0]["proof"] = {"option-bytes": "{column:options}"}
    line.write_job()
    (line.folder / "other.csv").write_text("OTHER,12345678\n")
    row = "SN{0},{1},secrets/x00000{0}.bin"
    line.write_table(row.format(0, "option-bytes.csv"), row.format(1, "other.csv"), row.format(2, "option-bytes.csv"),
                     header="serial,options,secrets")
    output, errors = line.run(1)
    assert "2 proven, 1 failed" in output and "SN1: firmware: " in errors, output + errors
    assert line.made() == {"SN0", "SN2"}
    assert line.status()["failures"][0]["serial"] == "SN1"
    assert [entry["serial"] for entry in line.record("device") if entry["verdict"] == "failed"] == ["SN1"]
    shutil.copy(line.folder / "option-bytes.csv", line.folder / "other.csv")
    output, _ = line.run(0)
    assert "1 proven" in output and line.made() == {"SN0", "SN1", "SN2"}
    line.verify()


def test_failures_in_a_row_halt_the_run(folder):
    line = Line(folder, devices=20)
    line.job["steps"][0]["proof"] = {"option-bytes": "other.csv"}  # no image passes this proof
    (line.folder / "other.csv").write_text("OTHER,12345678\n")
    line.write_job()
    _, errors = line.run(1, "--halt-after", "2", "--workers", "1")
    assert "stopped after 2 failures in a row" in errors, errors
    status = line.status()["products"][0]
    assert status["failed"] < 12 and status["open"] == 0 and not line.made(), status


def test_an_image_that_fails_its_proof_is_void(folder):
    line = Line(folder, devices=1)
    line.job["steps"][1]["proof"] = {"blob": "secrets/other.bin"}
    (line.folder / "secrets/other.bin").write_bytes(bytes(48))
    (line.folder / "secrets/other.bin").chmod(0o600)
    line.write_job()
    _, errors = line.run(1)
    assert "SN000000: secrets: " in errors, errors
    assert not line.made() and (line.out / "void/SN000000-1/secrets.pvs").exists()
    line.verify()


def test_a_step_that_hangs_is_ended_with_all_that_it_started(folder):
    line = Line(folder, devices=1)
    templates = pathlib.Path(PREPARE).parent.parent / "templates"
    files = ["image.xml", "provisioning.xml", "blink.hex", "keys/authentication.pem", "keys/authentication_pub.pem"]
    for name in files[:2]:
        shutil.copy(templates / name, line.folder)
    shutil.copy(templates.parent / "firmware/blink.hex", line.folder)
    shutil.copy(PREPARE, line.folder / files[3])  # no key: nothing reads these two files
    shutil.copy(PREPARE, line.folder / files[4])
    (line.folder / files[3]).chmod(0o600)
    line.job["steps"] = [{"job": "imgtool-image", "timeout": 1, "values": {"template": "{out}/image.xml"},
                          "copies": [{"from": name, "to": "{out}/" + name} for name in files], "proof": {"public": files[4]}}]
    del line.job["keys"]
    line.write_job()
    line.write_table("SN0", header="serial")
    program = line.folder / "bin/imgtool"
    program.parent.mkdir()
    program.write_text(f"#!/bin/sh\nsleep 1000 &\necho $! > {folder}/pid\nwait\n")
    program.chmod(0o755)
    _, errors = line.run(1, env={**os.environ, "PATH": f"{program.parent}:{os.environ['PATH']}"})
    assert "SN0: imgtool-image: " in errors and "1 s" in errors, errors
    sleeper = pathlib.Path("/proc") / (folder / "pid").read_text().strip()
    wait_for(lambda: not sleeper.exists() or ") Z " in (sleeper / "stat").read_text(), "the end of the program that hangs")
    line.verify()


def test_a_repeated_nonce_of_the_user_makes_nothing(folder):
    line = Line(folder, devices=3)
    line.job["steps"] = line.job["steps"][:1]
    line.job["steps"][0]["values"]["nonce"] = "{column:nonce}"
    line.write_job()
    for name, content in (("a", bytes(range(12))), ("b", bytes(range(12))), ("c", bytes(12))):
        (line.folder / name).write_bytes(content)
    line.write_table("SN0,a", "SN1,b", "SN2,c", header="serial,nonce")
    _, errors = line.run(1, "--workers", "1")
    assert "SN1: the nonce of the step firmware shares its IV" in errors, errors
    assert line.made() == {"SN0", "SN2"} and not line.void()
    line.verify()


def test_a_retired_key_makes_nothing_more(folder):
    line = Line(folder, devices=2)
    line.write_table(line.row(0))
    line.run(0)
    fingerprint = next(key["fingerprint"] for key in line.status()["keys"] if key["label"] == "image")
    line.call(0, "ledger", "retire-key", fingerprint, "--ledger", line.db)
    line.write_table(line.row(0), line.row(1))
    _, errors = line.run(1)
    assert "SN000001: the key of the step firmware is retired" in errors, errors
    assert line.made() == {"SN000000"} and line.status()["keys"][0]["retired"]
    line.call(2, "ledger", "retire-key", "0" * 64, "--ledger", line.db)


def test_images_made_elsewhere_are_imported(folder):
    """No device gets the IV of an imported image, not even through a nonce that the user supplies."""
    line = Line(folder, devices=1)
    line.job["steps"] = line.job["steps"][:1]
    line.job["steps"][0]["values"]["nonce"] = "{column:nonce}"
    line.write_job()
    (line.folder / "own").write_bytes(bytes(range(12)))
    line.write_table("SN0,own", header="serial,nonce")
    line.run(0)
    other = Line(folder, devices=1, name="other")
    shutil.copy(line.folder / "keys/image.bin", other.folder / "keys/image.bin")
    other.job = line.job
    other.write_job()
    (other.folder / "own").write_bytes(bytes(range(12)))
    other.write_table("SN1,own", header="serial,nonce")
    other.call(0, "ledger", "import", line.out / "SN0/firmware.tbi", "--key", line.folder / "keys/image.bin", "--ledger", other.db)
    _, errors = other.run(1)
    assert "shares its IV" in errors and not other.made(), errors


def test_a_run_beside_another_is_refused(folder):
    line = Line(folder, devices=40)
    first = line.start(line.words("run", "--workers", "1"))
    wait_for(line.made, "the first device")
    _, errors = line.run(2)
    assert "station" in errors, errors
    output, errors = first.communicate(timeout=60)
    assert first.returncode == 0, output + errors
    line.verify()


def test_a_signal_finishes_the_devices_in_progress(folder):
    line = Line(folder, devices=50)
    for number in (signal.SIGTERM, signal.SIGINT):
        child = line.start(line.words("run", "--workers", "1"))
        before = len(line.made())
        wait_for(lambda: len(line.made()) > before, "a device")
        child.send_signal(number)
        output, errors = child.communicate(timeout=60)
        assert child.returncode == 3, output + errors
        assert line.status()["products"][0]["open"] == 0
    assert len(line.made()) < 50, "the run ended before the signal"
    output, _ = line.run(0)
    assert len(line.made()) == 50 and not list((line.out / ".qvora/station/making").iterdir()), output
    line.verify()


def test_a_full_disk_ends_the_run_and_loses_nothing(folder):
    line = Line(folder, devices=5)
    line.run(0, "--devices", "-", input="serial,secrets\n" + line.row(0) + "\n")
    size = os.stat(line.out / "SN000000/firmware.tbi").st_size

    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (size - 1, size - 1))
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

    line.write_table(*map(line.row, range(5)))
    done = subprocess.run([PRODUCE, *map(str, line.words("run"))], text=True, capture_output=True,
                          check=False, timeout=60, preexec_fn=limit)
    assert done.returncode in (1, 2) and done.stderr.strip(), done
    assert line.made() == {"SN000000"}
    line.run(0)
    assert len(line.made()) == 5
    line.verify()


def test_a_restored_ledger_is_refused_until_the_record_has_completed_it(folder):
    line = Line(folder, devices=3)
    line.write_table(line.row(0))
    line.run(0)
    backup = folder / "backup.db"
    shutil.copy(line.db, backup)
    line.write_table(line.row(0), line.row(1))
    line.run(0)
    line.call(0, "void", "--serial", "SN000000", "--reason", "a scratched case", "--ledger", line.db)
    line.run(0)
    fingerprint = line.status()["keys"][0]["fingerprint"]
    line.call(0, "ledger", "retire-key", fingerprint, "--ledger", line.db)
    line.run(0)
    before = line.status()
    for path in line.folder.glob("line.db-*"):
        path.unlink()
    shutil.copy(backup, line.db)
    _, errors = line.run(2)
    assert "older than its last known head" in errors and "new-epoch" in errors, errors
    record = line.out / "record.jsonl"
    text = record.read_bytes()
    lines = text.splitlines(keepends=True)
    # The ledger isn't completed from a record with a changed line, without one of its lines, or without its first line.
    for bad in (text.replace(b"scratched", b"SCRATCHED"), b"".join(lines[:-2] + lines[-1:]), b"".join(lines[1:])):
        record.write_bytes(bad)
        _, errors = line.call(2, "ledger", "new-epoch", "--ledger", line.db, "-o", line.out)
        assert "record.jsonl: line " in errors, errors
    record.write_bytes(text + b'{"torn":')
    output, _ = line.call(0, "ledger", "new-epoch", "--ledger", line.db, "-o", line.out)
    assert "were put back" in output, output
    after = line.status()
    assert after["products"] == before["products"] and after["keys"][0]["retired"], (before, after)
    output, _ = line.run(0)
    assert "0 proven, 0 failed, 2 proven before" in output, output
    line.write_table(line.row(2))
    _, errors = line.run(1)
    assert "is retired" in errors, errors
    line.verify()


def test_progress_is_a_bar_on_a_terminal_only(folder):
    line = Line(folder, devices=50)
    parent, child = pty.openpty()
    with subprocess.Popen([PRODUCE, *map(str, line.words("run"))], stdout=subprocess.PIPE,
                          stderr=child) as run:
        os.close(child)
        shown = b""
        while True:
            try:
                piece = os.read(parent, 4096)
            except OSError:
                break
            shown += piece
            if not piece:
                break
        output = run.stdout.read()
    os.close(parent)
    assert b"\r[" in shown and b"of 50 devices" in shown and b" a second" in shown and b"\x1b[K" in shown, shown
    assert b"\r" not in output and b"50 proven" in output, output
    _, errors = line.run(0)
    assert errors == "", errors


def test_a_program_whose_reader_is_gone_makes_all_devices(folder):
    line = Line(folder, devices=5)
    child = line.start(line.words("run", "--json"))
    child.stdout.close()
    _, errors = child.communicate(timeout=60)
    assert len(line.made()) == 5, errors
    line.verify()


run_tests(globals())
