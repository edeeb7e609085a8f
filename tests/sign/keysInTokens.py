#!/usr/bin/env python3
"""keysInTokens.py SIGN TOOL INSPECT: signs each format with a key in a PEM file, in SoftHSM and in a TPM, and lets the tool,
the opener and openssl judge the files. A TPM needs swtpm and tpm2-pkcs11; without them its rows are left out."""
import contextlib
import glob
import hashlib
import json
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import traceback

SIGN, TOOL, INSPECT = (os.path.abspath(path) for path in sys.argv[1:4])
PATIENCE = 60
SOFTHSM = next((path for path in ("/usr/lib/softhsm/libsofthsm2.so", "/usr/lib/x86_64-linux-gnu/softhsm/libsofthsm2.so")
                if os.path.exists(path)), None)
TPM = next(iter(glob.glob("/usr/lib/*/pkcs11/libtpm2_pkcs11.so")), None) if shutil.which("swtpm") else None
MARK = bytes.fromhex("91293723")


def call(*words, status=0, environment=None, **options):
    done = subprocess.run([str(word) for word in words], capture_output=True, text=True, check=False, timeout=PATIENCE,
                          stdin=options.pop("stdin", subprocess.DEVNULL), env={**os.environ, **(environment or {})}, **options)
    assert done.returncode == status, f"{words} ended with {done.returncode}:\n{done.stdout}{done.stderr}"
    return done.stdout + done.stderr


class Token:
    """A token with the keys "firmware" (P-256) and "radio" (RSA)."""

    def __init__(self, folder, driver, label, environment):
        self.folder, self.driver, self.environment = folder, driver, environment
        self.label = label
        self.pin = folder / f"pin of {label}"
        self.pin.write_text("1234\n")
        self.pin.chmod(0o600)

    def fill(self):
        self.pkcs11("--init-token", "--label", self.label, "--so-pin", "5678", "--slot-index", "0", label=False)
        self.pkcs11("--init-pin", "--so-pin", "5678", "--pin", "1234", "--login", "--login-type", "so")
        for kind, name, number in (("EC:prime256v1", "firmware", "01"), ("rsa:2048", "radio", "02")):
            self.pkcs11("--login", "--pin", "1234", "--keypairgen", "--key-type", kind, "--label", name, "--id", number,
                        "--usage-sign")

    def pkcs11(self, *words, label=True):
        where = ["--token-label", self.label] if label else []
        return call("pkcs11-tool", "--module", self.driver, *where, *words, environment=self.environment)

    def uri(self, name, pin=True):
        secret = f"&pin-source={str(self.pin).replace(' ', '%20')}" if pin else ""
        return f"pkcs11:token={self.label};object={name}?module-path={self.driver}{secret}"


class SoftToken(Token):
    def __init__(self, folder, label="line"):
        super().__init__(folder, SOFTHSM, label, {"SOFTHSM2_CONF": str(folder / "softhsm2.conf")})
        (folder / "tokens").mkdir(exist_ok=True)
        (folder / "softhsm2.conf").write_text(f"directories.tokendir = {folder}/tokens\nlog.level = ERROR\n")
        call("softhsm2-util", "--init-token", "--free", "--label", label, "--pin", "1234", "--so-pin", "5678",
             environment=self.environment)

    def fill(self):
        for kind, name, number in (("EC:prime256v1", "firmware", "01"), ("rsa:2048", "radio", "02")):
            self.pkcs11("--login", "--pin", "1234", "--keypairgen", "--key-type", kind, "--label", name, "--id", number,
                        "--usage-sign")


@contextlib.contextmanager
def tpm_token(folder):
    """A token of a TPM in software."""
    place = folder / "tpm"
    (place / "state").mkdir(parents=True)
    (place / "store").mkdir()
    address = f"swtpm:path={place}/socket"
    call("swtpm", "socket", "--tpm2", "--tpmstate", f"dir={place}/state", "--ctrl", f"type=unixio,path={place}/socket.ctrl",
         "--server", f"type=unixio,path={place}/socket", "--flags", "not-need-init,startup-clear", "--daemon", "--pid",
         f"file={place}/pid")
    try:
        end = time.monotonic() + PATIENCE
        while not (place / "socket").exists() and time.monotonic() < end:
            time.sleep(0.01)
        token = Token(folder, TPM, "tpm", {"TPM2_PKCS11_TCTI": address, "TPM2_PKCS11_STORE": str(place / "store"),
                                           "TPM2_PKCS11_BACKEND": "esysdb", "TPM2_PKCS11_LOG_LEVEL": "0", "TSS2_LOG": "all+none",
                                           "ASAN_OPTIONS": "detect_leaks=0"})
        token.fill()
        yield token
    finally:
        os.kill(int((place / "pid").read_text()), 9)


class Files:
    """Binaries and keys in a folder."""

    def __init__(self, folder):
        self.folder = folder
        # A blank in a name, bytes after the signed part, and a small one.
        self.binary = folder / "firm ware.bin"
        self.binary.write_bytes(bytes(range(256)) * 20 + MARK + b"after the signed part")
        self.ec, self.rsa = folder / "ec.pem", folder / "rsa.pem"
        call("openssl", "genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", self.ec)
        call("openssl", "genrsa", "-traditional", "-out", self.rsa, "2048")
        self.ec.chmod(0o600)
        self.rsa.chmod(0o600)

    def tool_output(self, kind):
        """The signed file that the tool makes from the binary with the key file."""
        output = self.folder / f"tool-{kind}.bin"
        output.unlink(missing_ok=True)
        if kind == "image":
            call(TOOL, "-sign", "-bin", self.binary, "-prvk", self.ec, "-v", "7", "-o", output)
        else:
            call(TOOL, "-signbin", "-k", self.rsa, "-f", self.binary, "-o", output)
        return output.read_bytes()


FORMATS = {"image": ("firmware", 64, ["--image-version", "7"]), "wireless": ("radio", 256, [])}


def der(raw):
    """The DER of an ECDSA signature in raw form."""
    def number(value):
        value = value.lstrip(b"\0") or b"\0"
        value = b"\0" + value if value[0] & 0x80 else value
        return bytes([2, len(value)]) + value
    body = number(raw[:32]) + number(raw[32:])
    return bytes([0x30, len(body)]) + body


def judge(files, kind, signed, public):
    """Compares the bytes with the tool's, and asks the opener and openssl about the signature."""
    size = FORMATS[kind][1]
    data = signed.read_bytes()
    assert data[:-size] == files.tool_output(kind)[:-size], f"{kind}: other bytes than the tool's before the signature"
    assert "signature good" in call(INSPECT, "verify", "--public", public, signed)
    signature, message = files.folder / "signature", files.folder / "message"
    if kind == "image":  # the signed part and the footer head
        length = int.from_bytes(data[-68:-64], "little")
        message.write_bytes(data[:length] + data[-80:-64])
        signature.write_bytes(der(data[-64:]))
    else:
        message.write_bytes(data[:-256])
        signature.write_bytes(data[-256:])
    assert "Verified OK" in call("openssl", "dgst", "-sha256", "-verify", public, "-signature", signature, message)


def check_table(files, places):
    for name, keys, environment in places:
        for kind, (_, _, options) in FORMATS.items():
            signed, public = files.folder / f"{name}-{kind}.bin", files.folder / f"{name}-{kind}.pem"
            call(SIGN, "public", "--key", keys[kind], "-o", public, environment=environment)
            call(SIGN, kind, "--key", keys[kind], *options, "-o", signed, files.binary, environment=environment)
            judge(files, kind, signed, public)


def test_each_format_with_each_key(folder):
    files = Files(folder)
    token = SoftToken(folder)
    SoftToken(folder, "other")
    token.fill()
    pem = {"image": files.ec, "wireless": files.rsa}
    check_table(files, [("pem", pem, None),
                        ("softhsm", {kind: token.uri(FORMATS[kind][0]) for kind in FORMATS}, token.environment)])
    if TPM is None:
        print("no software TPM here: its rows are left out")
        return
    with tpm_token(folder) as tpm:
        check_table(files, [("tpm", {kind: tpm.uri(FORMATS[kind][0]) for kind in FORMATS}, tpm.environment)])
        listed = json.loads(call(SIGN, "list", "--json", f"pkcs11:?module-path={TPM}", environment=tpm.environment))
        uri = listed["tokens"][0]["keys"][0]["uri"]
        call(SIGN, "public", "--key", f"{uri}&pin-source={tpm.pin}".replace(" ", "%20"), "-o", folder / "listed.pem",
             environment=tpm.environment)


def test_small_binaries_of_the_wireless_chip(folder):
    files = Files(folder)
    for size in (1, 23, 24, 25, 27, 28, 29):
        files.binary.write_bytes(bytes(range(size)))
        signed = folder / "signed.bin"
        call(SIGN, "wireless", "--key", files.rsa, "-o", signed, files.binary)
        assert signed.read_bytes() == files.tool_output("wireless"), f"{size} bytes"


def test_several_binaries_with_one_login(folder):
    files = Files(folder)
    token = SoftToken(folder)
    token.fill()
    binaries = []
    for number in range(70):
        binaries.append(folder / f"b{number}.bin")
        binaries[-1].write_bytes(bytes([number]) * number + MARK)
    signed = folder / "signed"
    signed.mkdir()
    key = token.uri("firmware")
    call(SIGN, "image", "--key", key, "--image-version", "7", *binaries, "-o", signed, environment=token.environment)
    public = folder / "public.pem"
    call(SIGN, "public", "--key", key, "-o", public, environment=token.environment)
    for binary in (binaries[0], binaries[31], binaries[69]):
        files.binary = binary
        judge(files, "image", signed / binary.name, public)
    assert len(list(signed.iterdir())) == 70
    same = folder / "more" / "b1.bin"
    same.parent.mkdir()
    same.write_bytes(MARK)
    bad = folder / "bad.bin"
    bad.write_bytes(b"no mark")
    for operands, output, message in (([binaries[1], same], signed, "Two binaries would be written"),
                                      (binaries[:2], folder / "missing", "Failed to create output file"),
                                      (binaries[:2], folder, "would replace"), ([bad, binaries[1]], signed, "has no mark")):
        assert message in call(SIGN, "image", "--key", key, "--image-version", "7", *operands, "-o", output, status=1,
                               environment=token.environment)


def test_a_signature_in_two_steps(folder):
    files = Files(folder)
    request, digest, output = folder / "request.json", folder / "digest", folder / "signed.bin"
    for kind, key in (("image", files.ec), ("wireless", files.rsa)):
        options, public = FORMATS[kind][2], folder / "public.pem"
        text = call(SIGN, "prepare", kind, files.binary, *options, "-o", request, "--digest", digest)
        assert digest.read_bytes().hex() in text and hashlib.sha256(files.binary.read_bytes()).hexdigest() in text
        call("openssl", "pkey", "-in", key, "-pubout", "-out", public)
        signature = folder / "offline.sig"
        call("openssl", "pkeyutl", "-sign", "-inkey", key, "-in", digest, "-pkeyopt", "digest:sha256", "-out", signature)
        attach = [SIGN, "attach", request, files.binary, "--signature", signature, "--public", public, "-o", output]
        call(*attach)
        judge(files, kind, output, public)
        if kind == "image":  # the raw form of the same signature
            raw = output.read_bytes()[-64:]
            signature.write_bytes(raw)
            output.unlink()
            call(*attach)
            assert output.read_bytes()[-64:] == raw
        output.write_bytes(b"older")
        damaged = bytearray(signature.read_bytes())
        damaged[-1] ^= 1
        for content, message in ((bytes(damaged), "doesn't hold"), (b"", "doesn't hold"), (b"x" * 5000, "more than")):
            signature.write_bytes(content)
            assert message in call(*attach, status=1)
        files.binary.write_bytes(b"x" + files.binary.read_bytes()[1:])
        assert "is for another binary" in call(*attach, status=1)
        files.binary.write_bytes(b"\0" + files.binary.read_bytes()[1:])
        assert output.read_bytes() == b"older"


def test_requests_that_were_changed(folder):
    files = Files(folder)
    request, public, signature = folder / "request.json", folder / "public.pem", folder / "signature"
    call(SIGN, "prepare", "image", files.binary, "--image-version", "7", "-o", request)
    call("openssl", "pkey", "-in", files.ec, "-pubout", "-out", public)
    signature.write_bytes(b"0" * 64)
    good = json.loads(request.read_text())
    def changed(**binary):
        return json.dumps({**good, "binary": {**good["binary"], **binary}})
    for text, message in (("", "isn't a signing request"), ("[]", "isn't a signing request"),
                          (json.dumps({**good, "type": "other"}), "isn't a signing request"),
                          (json.dumps({**good, "version": 2}), "another version"),
                          (changed(digest="00" * 32), "another binary"), (changed(version=8), "another binary"),
                          (changed(version=-1), "another binary"), (changed(version=1e300), "another binary"),
                          (changed(version="7"), "another binary"), (changed(size=1), "another binary"),
                          (changed(format="wireless"), "another binary"), (changed(more=1), "another binary"),
                          (json.dumps(good), "doesn't hold"), ("x" * 70000, "more than")):
        request.write_text(text)
        output = call(SIGN, "attach", request, files.binary, "--signature", signature, "--public", public, "-o",
                      folder / "signed.bin", status=1)
        assert message in output, f"{text[:80]}: {output}"
    assert not (folder / "signed.bin").exists()


def make_chain(folder, key, days="2", start=None):
    """A certificate of the key from an authority, then the authority's own."""
    authority = folder / "authority.pem"
    if not authority.exists():
        call("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", folder / "authority.key", "-out", authority,
             "-subj", "/CN=Sample authority", "-days", "10")
    call("openssl", "req", "-new", "-key", key, "-subj", "/CN=Line key/O=Sample", "-out", folder / "request.csr")
    call("openssl", "x509", "-req", "-in", folder / "request.csr", "-CA", authority, "-CAkey", folder / "authority.key",
         "-days", days, "-out", folder / "leaf.pem")
    chain = folder / "chain.pem"
    chain.write_text((folder / "leaf.pem").read_text() + authority.read_text())
    return chain


def test_certificates_are_checked_and_change_no_byte(folder):
    files = Files(folder)
    chain = make_chain(folder, files.ec)
    receipt, output = folder / "receipt.json", folder / "signed.bin"
    sign = [SIGN, "image", "--key", files.ec, "--image-version", "7", files.binary, "-o", output, "--receipt", receipt]
    call(*sign, "--certificate", chain)
    public = folder / "public.pem"
    call(SIGN, "public", "--key", files.ec, "-o", public)
    judge(files, "image", output, public)
    noted = json.loads(receipt.read_text())
    fingerprint = call("openssl", "x509", "-in", folder / "leaf.pem", "-noout", "-fingerprint", "-sha256")
    assert noted["certificate"]["sha256"] == re.sub("[^0-9a-f]", "", fingerprint.split("=")[1].lower())
    assert noted["certificate"]["subject"] == "O=Sample,CN=Line key"
    assert noted["output"]["sha256"] == hashlib.sha256(output.read_bytes()).hexdigest()
    call(*sign, "--certificate", folder / "leaf.pem", "--trust", folder / "authority.pem")
    output.write_bytes(b"older")
    receipt.write_bytes(b"older")
    other = folder / "other.pem"
    call("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", folder / "other.key", "-out", other, "-subj",
         "/CN=Other", "-days", "10")
    expired = make_chain(folder, files.ec, days="-1").read_text()
    (folder / "expired.pem").write_text(expired)
    (folder / "text.pem").write_text("no certificate")
    for options, message in ((["--certificate", folder / "expired.pem"], "certificate has expired"),
                             (["--certificate", other], "isn't that of the key"),
                             (["--certificate", folder / "leaf.pem", "--trust", other], "aren't valid"),
                             (["--certificate", folder / "text.pem"], "doesn't contain certificates"),
                             (["--certificate", folder / "missing.pem"], "can't be read"),
                             (["--trust", other], "no effect")):
        assert message in call(*sign, *options, status=1), message
    assert output.read_bytes() == receipt.read_bytes() == b"older"


def test_failures_leave_the_files_as_they_were(folder):
    files = Files(folder)
    token = SoftToken(folder)
    token.fill()
    older = folder / "older.bin"
    older.write_bytes(b"older")
    plain = folder / "plain.bin"
    plain.write_bytes(b"no mark")
    image = [SIGN, "image", "--image-version", "7"]
    for words, status, message in (
            ([*image, "--key", files.rsa, files.binary, "-o", older], 1, "needs an elliptic-curve key"),
            ([*image, "--key", files.ec, plain, "-o", older], 1, "has no mark"),
            ([*image, "--key", files.ec, folder, "-o", older], 1, "can't be"),
            ([*image, "--key", files.ec, folder / "missing", "-o", older], 1, "can't be opened"),
            ([*image, "--key", files.ec, files.binary, "-o", files.binary], 1, "would replace"),
            ([*image, "--key", files.ec, files.binary, "-o", files.ec], 1, "would replace"),
            ([*image, "--key", files.ec, files.binary, "-o", older, "--receipt", older], 1, "would replace"),
            ([*image, "--key", files.ec, files.binary, "-o", folder / "no/where.bin"], 1, "Failed to create output file"),
            ([*image, "--key", token.uri("firmware") + "&pin-value=1234", files.binary, "-o", older], 1, "can't contain its PIN"),
            ([SIGN, "image", "--key", files.ec, files.binary, "-o", older], 2, "needs --image-version"),
            ([SIGN, "image", "--image-version", "x", "--key", files.ec, files.binary, "-o", older], 2, "needs a number"),
            ([SIGN, "wireless", "--image-version", "1", "--key", files.rsa, files.binary, "-o", older], 2, "doesn't accept"),
            ([SIGN, "wireless"], 2, "needs BINARY..."),
            ([SIGN, "other"], 2, "unknown command"),
            ([SIGN], 2, "a command is missing")):
        output = call(*words, status=status, environment=token.environment)
        assert message in output and len(output.strip().splitlines()) == 1, f"{words}: {output}"
    assert older.read_bytes() == b"older"


def run_on_terminal(words, keys, environment):
    """What a program shows on its terminal while `keys` are typed, and its status."""
    child, terminal = pty.fork()
    if child == 0:
        os.execve(words[0], [str(word) for word in words], {**os.environ, **environment})
    shown, end = b"", time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if select.select([terminal], [], [], 0.05)[0]:
            try:
                piece = os.read(terminal, 4096)
            except OSError:
                break
            if not piece:
                break
            shown += piece
        if keys and b": " in shown:
            os.write(terminal, keys)
            keys = b""
    _, status = os.waitpid(child, 0)
    os.close(terminal)
    return shown.decode(), os.waitstatus_to_exitcode(status)


def test_the_pin_is_asked_without_echo(folder):
    files = Files(folder)
    token = SoftToken(folder)
    token.fill()
    output = folder / "signed.bin"
    words = [SIGN, "image", "--key", token.uri("firmware", pin=False), "--image-version", "7", files.binary, "-o", output]
    for keys, status, message in ((b"1234\n", 0, "signed with the key"), (b"12x\x7f34\n", 0, "signed with the key"),
                                  (b"99\x151234\n", 0, "signed with the key"), (b"9999\n", 1, "CKR_PIN_INCORRECT"),
                                  (b"\x03", 1, "No PIN was typed"), (b"\n", 1, "No PIN was typed")):
        output.unlink(missing_ok=True)
        shown, ended = run_on_terminal(words, keys, token.environment)
        assert ended == status and message in shown, f"{keys}: {ended} {shown}"
        assert "1234" not in shown.replace(str(output), "") and "9999" not in shown, f"the PIN is shown: {shown}"
        assert output.exists() == (status == 0)


def test_the_pin_of_a_pipe(folder):
    files = Files(folder)
    token = SoftToken(folder)
    token.fill()
    for source in ("/proc/self/fd/0", "-"):
        read, write = os.pipe()
        os.write(write, b"1234\n")
        os.close(write)
        with os.fdopen(read) as pin:
            call(SIGN, "image", "--key", f"{token.uri('firmware', pin=False)}&pin-source={source}", "--image-version", "7",
                 files.binary, "-o", folder / "signed.bin", environment=token.environment, stdin=pin)


def test_the_list_shows_keys_and_certificates(folder):
    files = Files(folder)
    token = SoftToken(folder)
    SoftToken(folder, "other")
    token.fill()
    call("openssl", "x509", "-in", make_chain(folder, files.ec), "-outform", "DER", "-out", folder / "leaf.der")
    token.pkcs11("--login", "--pin", "1234", "--write-object", folder / "leaf.der", "--type", "cert", "--label", "firmware",
                 "--id", "01")
    environment = {**token.environment, "QVORA_HSM_MODULE": SOFTHSM}
    listed = json.loads(call(SIGN, "list", "--json", environment=environment))["tokens"]
    assert sorted(entry["label"] for entry in listed) == ["line", "other"]
    keys = {key["label"]: key for entry in listed for key in entry["keys"]}
    assert sorted(keys) == ["firmware", "radio"]
    assert keys["firmware"]["kind"] == "P-256" and keys["radio"]["kind"] == "RSA 2048"
    assert "private" not in keys["radio"]["objects"], "private keys need a login"
    assert [entry["subject"] for entry in keys["firmware"]["certificates"]] == ["O=Sample,CN=Line key"]
    text = call(SIGN, "list", f"pkcs11:token=line?pin-source={str(token.pin).replace(' ', '%20')}", environment=environment)
    assert text.count("private, public") == 2 and "other" not in text, text


def main():
    failed = 0
    for name, test in list(globals().items()):
        if not name.startswith("test_"):
            continue
        with tempfile.TemporaryDirectory(prefix="keys-in-tokens-") as folder:
            try:
                test(pathlib.Path(folder))
            except Exception:
                failed += 1
                print(f"{name} failed:", traceback.format_exc())
    sys.exit(1 if failed else 0)


main()
