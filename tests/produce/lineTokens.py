#!/usr/bin/env python3
"""lineTokens.py PRODUCE PREPARE: a line whose image keys and station key are in a token."""
import json
import os
import pathlib
import shutil
import subprocess

from lineKit import PRODUCE, Line, run_tests

DRIVER = next(path for path in ("/usr/lib/softhsm/libsofthsm2.so", "/usr/lib/x86_64-linux-gnu/softhsm/libsofthsm2.so")
              if os.path.exists(path))
INSPECT = pathlib.Path(PRODUCE).parent.parent / "inspect/qvora-inspect"
SIGN = pathlib.Path(PRODUCE).parent.parent / "sign/qvora-sign"
MASTER = bytes(range(32))
PLAIN = bytes(range(100, 116))


def call(*words):
    done = subprocess.run([str(word) for word in words], capture_output=True, check=False)
    assert done.returncode == 0, f"{words}:\n{done.stdout}{done.stderr}"
    return done.stdout


def make_line(folder, **options):
    """A line with a token that has a master key, a key that may leave it, and the station's key."""
    (folder / "tokens").mkdir()
    (folder / "softhsm2.conf").write_text(f"directories.tokendir = {folder}/tokens\nlog.level = ERROR\n")
    os.environ["SOFTHSM2_CONF"] = str(folder / "softhsm2.conf")
    os.environ["QVORA_HSM_MODULE"] = DRIVER
    call("softhsm2-util", "--init-token", "--free", "--label", "line", "--pin", "1234", "--so-pin", "5678")
    tool = ["pkcs11-tool", "--module", DRIVER, "--token-label", "line", "--login", "--pin", "1234"]
    for name, key, more in (("master", MASTER, ["--sensitive"]), ("plain", PLAIN, ["--extractable"])):
        (folder / "key").write_bytes(key)
        call(*tool, "--write-object", folder / "key", "--type", "secrkey", "--key-type", f"AES:{len(key)}", "--label", name,
             "--usage-sign", *more)
    call(*tool, "--keypairgen", "--key-type", "EC:prime256v1", "--label", "station", "--id", "07", "--usage-sign")
    pin = folder / "pin"
    pin.write_text("1234\n")
    pin.chmod(0o600)
    return Line(folder, **options)


def uri(line, name, pin="pin"):
    return f"pkcs11:token=line;object={name}?pin-source={line.folder.parent / pin}"


def derived(serial, size, use="QVORA image key"):
    """The key of a device, as OpenSSL derives it."""
    text = call("openssl", "kdf", "-keylen", size, "-kdfopt", "mac:CMAC", "-kdfopt", "cipher:AES-256-CBC", "-kdfopt",
                f"hexkey:{MASTER.hex()}", "-kdfopt", f"salt:{use}", "-kdfopt", f"info:{serial}", "-kdfopt", "mode:counter", "KBKDF")
    return bytes.fromhex(text.decode().strip().replace(":", ""))


def prove(line, serial, key, folder):
    """Lets the opener prove both images of a device with this key."""
    path = folder / "device.key"
    path.write_bytes(key)
    path.chmod(0o600)
    images = [output for output in (line.out / serial).iterdir() if output.suffix in (".tbi", ".pvs")]
    assert len(images) == 2, images
    for image in images:
        text = call(INSPECT, "verify", "--key", path, image)
        assert b"tags good" in text or b"tag good" in text, text


def test_each_device_has_a_derived_key(folder):
    line = make_line(folder, devices=3, steps=2)
    line.job["keys"]["image"] = {"token": uri(line, "master"), "derive": "QVORA image key"}
    line.write_job()
    options = ["--station-key", uri(line, "station")]
    line.run(0, *options)
    line.run(0, *options)  # resumes: nothing is left to do
    call(SIGN, "public", "--key", uri(line, "station"), "-o", folder / "station.pem")
    verified, _ = line.call(0, "record", "verify", line.out / "record.jsonl", "--public", folder / "station.pem")
    assert "3 proven devices" in verified, verified
    record = (line.out / "record.jsonl").read_text()
    used = {text["fingerprint"] for row in map(json.loads, record.splitlines()) if row["kind"] == "device"
            for step in row["steps"] for text in step["ivs"]}
    assert len(used) == 3, "each device has a key of its own"
    for number in range(3):
        serial = f"SN{number:06}"
        prove(line, serial, derived(serial, 16), folder)
    left = subprocess.run(["grep", "-rlF", derived("SN000000", 16).hex(), line.folder], capture_output=True, check=False)
    assert left.returncode == 1, f"a key is in {left.stdout}"


def test_a_checkpoint_over_lines_that_are_not_signed(folder):
    line = make_line(folder, devices=3, steps=2)
    line.run(0, "--station-key", uri(line, "station"))
    record = line.out / "record.jsonl"
    lines = record.read_text().splitlines(keepends=True)
    unsigned = folder / "unsigned.jsonl"
    unsigned.write_text("".join(lines[:3]))  # as after a loss of power
    made, public = folder / "checkpoint.jsonl", folder / "station.pem"
    call(SIGN, "public", "--key", uri(line, "station"), "-o", public)
    call(SIGN, "checkpoint", unsigned, "--key", uri(line, "station"), "-o", made)
    line.call(1, "record", "verify", unsigned, "--public", public)
    whole = folder / "whole.jsonl"
    whole.write_text(unsigned.read_text() + made.read_text())
    verified, errors = line.call(0, "record", "verify", whole, "--public", public)
    assert "4 lines" in verified and errors == "", verified + errors
    for text, message in ((record.read_text(), "no line after its last checkpoint"), ("", "no line after its last checkpoint"),
                          (lines[0] + lines[2], "a line was removed"), ("".join(lines[:2])[:-5], "interrupted")):
        unsigned.write_text(text)
        done = subprocess.run([SIGN, "checkpoint", unsigned, "--key", uri(line, "station"), "-o", made], text=True,
                              capture_output=True, check=False)
        assert done.returncode == 1 and message in done.stderr, f"{text[:50]}: {done.stderr}"


def test_a_key_that_the_token_lets_out(folder):
    line = make_line(folder, devices=2, steps=2)
    line.job["keys"]["image"] = {"token": uri(line, "plain")}
    line.write_job()
    line.run(0)
    prove(line, "SN000001", PLAIN, folder)
    assert len(line.status()["keys"]) == 1 and line.status()["keys"][0]["label"] == "image"


def test_nothing_starts_with_a_token_that_cannot(folder):
    line = make_line(folder, devices=2, steps=2)
    wrong = folder / "wrong"
    wrong.write_text("9999\n")
    wrong.chmod(0o600)
    good = {"token": uri(line, "master"), "derive": "QVORA image key"}
    rows = [({"token": uri(line, "master")}, "can't leave its token"),
            ({**good, "token": uri(line, "missing")}, "has no secret key that fits"),
            ({**good, "token": uri(line, "station")}, "has no secret key that fits"),
            ({**good, "token": uri(line, "master", "wrong")}, "CKR_PIN_INCORRECT"),
            ({**good, "token": uri(line, "master", "none")}, "can't be opened"),
            ({**good, "token": "pkcs11:token=other;object=master"}, "No token fits"),
            ({**good, "token": "keys/image.bin"}, "begins with pkcs11:"),
            ({**good, "size": 24}, "16 or 32 bytes"), ({"token": uri(line, "plain"), "size": 16}, "16 or 32 bytes"),
            ({**good, "derive": ""}, "what the keys are for"), ({**good, "file": "keys/image.bin"}, "no such member")]
    for key, message in rows:
        line.job["keys"]["image"] = key
        line.write_job()
        for words in (line.words("run"), ["check", line.folder / "job.json"]):
            _, errors = line.call(2, *words)
            assert message in errors and len(errors.strip().splitlines()) == 1, f"{key}: {errors}"
    line.job["keys"]["image"] = good
    line.write_job()
    for station, message in (("missing", "has no private key that fits"), ("master", "has no private key that fits")):
        _, errors = line.run(2, "--station-key", uri(line, station))
        assert message in errors, errors
    assert not line.out.exists() or not list(line.out.glob("SN*")), "a device was made"
    line.call(0, "check", line.folder / "job.json", "--devices", line.folder / "devices.csv")


def test_a_job_with_a_token_is_made_on_request(folder):
    line = make_line(folder, devices=1, steps=2)
    line.job["keys"]["image"] = {"token": uri(line, "master"), "derive": "QVORA image key", "size": 16}
    line.write_job()
    shutil.copy(line.folder / "secrets/x000000.bin", line.folder / "secrets/new.bin")
    line.call(0, *line.words("one", "--serial", "SN000777", "--column", "secrets=secrets/new.bin", "--station-key",
                             uri(line, "station")))
    prove(line, "SN000777", derived("SN000777", 16), folder)


run_tests(globals())
