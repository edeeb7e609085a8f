#!/usr/bin/env python3
"""lineAttacks.py PRODUCE PREPARE [TEST...]: no secret leaves its place, and hostile files and folders get one clear
message, without a change of what was there."""
import base64
import os
import pathlib
import re
import shutil
import sqlite3

from lineKit import PREPARE, Line, run_tests, wait_for


def forms(secret):
    """The texts and bytes in which a secret could show up."""
    return [secret, secret.hex().encode(), secret.hex().upper().encode(), base64.b64encode(secret).rstrip(b"=")]


def test_no_secret_is_written_or_shown(folder):
    line = Line(folder, devices=6, steps=3)
    key = (line.folder / "keys/image.bin").read_bytes()
    signing = (line.folder / "keys/signing.pem").read_bytes()
    site = pathlib.Path(f"{line.db}.site").read_bytes()
    station = pathlib.Path(f"{line.db}.station.pem").read_bytes()
    secrets = [key, signing.splitlines()[1], station.splitlines()[1], site.strip()]
    secrets += [(line.folder / f"secrets/x{n:06}.bin").read_bytes() for n in range(6)]
    line.write_table(*map(line.row, range(5)), "SN9,secrets/none.bin")
    child = line.start(line.words("run", "--json", "--workers", "1", "--devices", "-"), env={"PATH": os.environ["PATH"]})
    shown = b""
    child.stdin.write((line.folder / "devices.csv").read_text())
    child.stdin.flush()
    wait_for(line.made, "a device")
    workers = re.compile(rf"\) . {child.pid} ")
    processes = [child.pid, *(int(path.parent.name) for path in pathlib.Path("/proc").glob("[0-9]*/stat")
                              if workers.search(text_of(path)))]
    for process in processes:
        for name in ("cmdline", "environ"):
            shown += pathlib.Path(f"/proc/{process}/{name}").read_bytes()
    output, errors = child.communicate(timeout=60)
    assert child.returncode == 1 and len(processes) > 1, errors
    shown += (output + errors).encode()
    shown += line.call(0, "status", "--ledger", line.db, "--json")[0].encode()
    line.call(0, "status", "--ledger", line.db, "--html", line.folder / "report.html")
    places = [line.folder / "report.html", *line.folder.glob("line.db*"), *line.out.rglob("*")]
    own = {f"{line.db}.site", f"{line.db}.station.pem"}
    contents = {"what was shown": shown}
    contents.update({str(path): path.read_bytes() for path in places if path.is_file() and str(path) not in own})
    assert len(contents) > 20
    for place, content in contents.items():
        for secret in secrets:
            assert not any(form in content for form in forms(secret)), f"{place} has a secret"
    for path in own:
        assert os.stat(path).st_mode & 0o077 == 0, path
    for path in line.out.rglob("secrets.pvs"):
        assert path.is_file()


def text_of(path):
    try:
        return path.read_text()
    except OSError:
        return ""  # the process has ended


def test_a_leftover_in_the_output_is_not_overwritten(folder):
    line = Line(folder, devices=3)
    outside = folder / "outside"
    outside.mkdir()
    line.out.mkdir()
    (line.out / "SN000000").mkdir()
    (line.out / "SN000000/firmware.tbi").write_text("foreign")
    (line.out / "SN000001").symlink_to(outside)
    os.mkfifo(line.out / "SN000002")
    line.run(0)
    assert len(line.made()) == 3 and not list(outside.iterdir())
    kept = sorted(path.name for path in (line.out / "void").iterdir())
    assert len(kept) == 3 and (line.out / "void" / kept[0] / "firmware.tbi").read_text() == "foreign", kept
    line.verify()


def test_what_cannot_be_used_starts_nothing(folder):
    """Each row makes one thing unusable, and gives a part of the message."""
    def text(name, content):
        return lambda line: (line.folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())

    def replaced(name, action):
        def change(line):
            (line.folder / name).unlink()
            action(line.folder / name)
        return change

    def output(action):
        return lambda line: action(line.out)

    def foreign_ledger(line):
        connection = sqlite3.connect(line.folder / "other.db")
        connection.execute("CREATE TABLE t (a)")
        connection.commit()
        connection.close()
        shutil.copy(line.folder / "other.db", line.db)

    finds = []
    wide = "serial,secrets," + ",".join(f"c{n}" for n in range(10000))
    for reason, change in (
            ("another application", foreign_ledger),
            ("job.json", text("job.json", "")),
            ("job.json", text("job.json", "[" * 100000)),
            ("job.json", text("job.json", b"\xff\xfe{}")),
            ("job.json", replaced("job.json", os.mkdir)),
            ("devices.csv", text("devices.csv", "")),
            ("no device", text("devices.csv", "serial,secrets\n")),
            ("devices.csv:1", text("devices.csv", wide)),
            ("devices.csv:1", text("devices.csv", "serial\nSN1\n")),
            ("devices.csv:2", text("devices.csv", "serial,secrets\nSN1\n")),
            ("devices.csv:2", text("devices.csv", "serial,secrets\n../SN1,secrets/x000000.bin\n")),
            ("devices.csv:2", text("devices.csv", b"serial,secrets\nSN\0,secrets/x000000.bin\n")),
            ("devices.csv:2", text("devices.csv", b"serial,secrets\nSN1,secrets/\0x000000.bin\n")),
            ("devices.csv:2", text("devices.csv", b"serial,secrets\nSN1,\xff\n")),
            ("devices.csv:3", text("devices.csv", "serial,secrets\nSN1,secrets/x000000.bin\nsn1,secrets/x000001.bin\n")),
            ("devices.csv:2", text("devices.csv", "serial,secrets\nSN1,../../../../../../etc/hostname\n")),
            ("devices.csv:2", text("devices.csv", 'serial,secrets\nSN1,"secrets/x000000.bin\n')),
            ("devices.csv", replaced("devices.csv", os.mkdir)),
            ("keys.image", lambda line: (line.folder / "keys/image.bin").chmod(0o644)),
            ("keys.image", text("keys/image.bin", bytes(range(16)))),
            ("line.db.site", lambda line: pathlib.Path(f"{line.db}.site").unlink()),
            ("line.db.site", lambda line: pathlib.Path(f"{line.db}.site").write_bytes(b"short")),
            ("line.db.station.pem", lambda line: pathlib.Path(f"{line.db}.station.pem").write_bytes(b"no key")),
            ("line.db", lambda line: line.db.write_bytes(b"SQLite format 3\0" + bytes(4000))),
            ("line.db", lambda line: line.db.unlink()),
            ("out", output(lambda path: path.write_bytes(b"a file"))),
            ("out", output(os.mkfifo))):
        number = len(list(folder.iterdir()))
        line = Line(folder, name=f"line{number}")
        change(line)
        _, errors = line.run(2)
        faults = [text for text in errors.splitlines() if "warning: " not in text]
        made = [path for path in line.out.rglob("*") if path.is_file()] if line.out.is_dir() else []
        if len(faults) != 1 or reason not in faults[0] or made:
            finds.append((number, reason, errors, made))
    assert not finds, "\n".join(map(str, finds))


def test_tables_as_other_programs_write_them(folder):
    for content in (b"\xef\xbb\xbfserial,secrets\r\nSN1,secrets/x000000.bin\r\n", b"secrets,serial\n\"secrets/x000000.bin\",SN1",
                    b'{"secrets":"secrets/x000000.bin","serial":"SN1"}\n\n'):
        line = Line(folder, name=f"line{len(list(folder.iterdir()))}")
        (line.folder / "devices.csv").write_bytes(content)
        line.run(0)
        assert line.made() == {"SN1"}


def test_an_input_that_changes_during_the_run_is_noticed(folder):
    """The record has the digest of what the step read: an image of other bytes isn't proven with it."""
    line = Line(folder, devices=1)
    line.job["steps"] = line.job["steps"][:1]
    line.write_job()
    header = "serial\n"
    child = line.start(line.words("run", "--devices", "-", "--workers", "1"))
    child.stdin.write(header + "SN1\n")
    child.stdin.flush()
    wait_for(lambda: "SN1" in line.made(), "the first device")
    examples = pathlib.Path(PREPARE).parent.parent / "firmware"
    shutil.copy(examples / "blink.hex", line.folder / "blink.elf")  # other bytes under the same name
    child.stdin.write("SN2\n")
    output, errors = child.communicate(timeout=60)
    digests = {entry["serial"]: entry["steps"][0]["inputs"] for entry in line.record("device")}
    if "SN2" in digests:
        assert digests["SN1"] != digests["SN2"], digests
    else:
        assert "SN2" in errors, output + errors
    line.verify()


run_tests(globals())
