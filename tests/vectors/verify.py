#!/usr/bin/env python3
"""verify.py TOOL OPENER: verifies every golden vector with the opener and all keys and facts of its JSON file. Bad
vectors must be proven wrong. Good ones must be proven, or undecided if nothing in the format proves them."""
import json
import pathlib
import subprocess
import sys
import tempfile

# The suffixes of the files to verify, by the format.
SUFFIXES = {"installImage": ".tbi .tbix", "updateImage": ".tbuh", "provisioningPayload": ".pvs", "provisioningImage": ".pvs",
            "provisioningFile": ".obk .bin", "wirelessKeyFile": ".c .py .txt"}
SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/vectors"
PLAIN = {"backupImage", "passwordFile"}


def bytes_of(value):
    """The bytes of a hex string, or a PEM text unchanged."""
    return value.encode() if value.startswith("-----") else bytes.fromhex(value)


def evidence(vector, base):
    """Option to content, from the vector and from the inputs of the good vector that it is made from."""
    inputs = {entry["name"]: entry["bytes"] for entry in base.get("inputs", [])}
    known = {"key": vector.get("key"), "nonce": vector.get("nonce"), "private": vector.get("cardPrivateKey"),
             "public": vector.get("toolPublicKey") or vector.get("publicKey") or inputs.get("oem.pem")
             or inputs.get("oem.bin"), "app": inputs.get("app.bin")}
    if vector["format"] == "personalizationData":
        del known["key"]
    return {name: bytes_of(value) for name, value in known.items() if value}


def options_of(vector, base, folder):
    options = []
    for name, content in evidence(vector, base).items():
        path = folder / name
        path.write_bytes(content)
        path.chmod(0o600)
        options += [f"--{name}", path]
    if vector["format"] == "memoryImage":
        options += ["--address", vector["startAddress"], "--mode", str(vector["mode"])]
    return options


def whole_groups(paths, options, folder):
    """Image and application without the bytes after their last group, which the cipher drops."""
    for path in (*paths, options[options.index("--app") + 1]):
        (folder / path.name).write_bytes(path.read_bytes()[:path.stat().st_size // 32 * 32])
    return [folder / path.name for path in paths]


def fault_of(opener, path, options, expected):
    run = subprocess.run([opener, "verify", "--json", *options, path], capture_output=True, text=True, check=False)
    report = json.loads(run.stdout)
    verdicts = [file["verdict"] for file in report["files"]]
    if (run.returncode, report["status"], verdicts) != (expected[0], expected[0], [expected[1]]) or run.stderr:
        return f"status {run.returncode}, {verdicts} instead of {expected}: {report['failures']}{run.stderr}"
    return ""


def expectation(vector):
    if vector["result"] == "bad":
        return 1, "wrong"
    is_plain = vector["format"] in PLAIN or vector.get("hasDigest") is False
    return (2, "undecided") if is_plain else (0, "proven")


def main(tool, opener):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([SCRIPT, folder, tool], stdout=subprocess.DEVNULL, check=True)
        return judge_all(folder, opener)


def judge_all(folder, opener):
    vectors = {path.stem: json.loads(path.read_text()) for path in pathlib.Path(folder).glob("*.json")}
    faults = []
    for name, vector in sorted(vectors.items()):
        format_name, suffixes = vector["format"], SUFFIXES.get(vector["format"], ".bin")
        base = vectors[vector.get("base", name)]
        # The file itself doesn't show whether it has a digest.
        if vector.get("hasDigest", base.get("hasDigest")):
            format_name = "hashedProvisioningFile"
        with tempfile.TemporaryDirectory() as work:
            options = ["--as", format_name, *options_of(vector, base, pathlib.Path(work))]
            if vector["format"] == "wirelessKeyFile":
                options += ["--public", pathlib.Path(folder) / f"{name}-public.pem"]
            paths = [pathlib.Path(folder) / entry["name"] for entry in vector["files"]]
            if vector["format"] == "memoryImage":
                paths = whole_groups(paths, options, pathlib.Path(work))
            for path in paths:
                if path.suffix in suffixes.split():
                    fault = fault_of(opener, path, options, expectation(vector))
                    faults += [f"{path.name}: {fault}"] if fault else []
    print(f"{len(vectors)} vectors, {len(faults)} misjudged", *faults, sep="\n")
    return 1 if faults or not vectors else 0


sys.exit(main(*sys.argv[1:]))
