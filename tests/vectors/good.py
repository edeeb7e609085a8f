"""The good vectors: the inputs, the command line that makes the file, and the expected file."""
import functools
import json
from dataclasses import dataclass, field

from cryptography.hazmat.primitives.asymmetric import ec, rsa

import formats as f
from memory_cipher import memory_image


def fixed(name, size):
    """`size` bytes that are the same in every run: blocks of SHA-256 of the name and a counter."""
    blocks = (f.sha256(name.encode() + bytes([i])) for i in range(size // 32 + 1))
    return b"".join(blocks)[:size]


def fixed_ec_key(name):
    return ec.derive_private_key(int.from_bytes(fixed(name, 31), "big"), ec.SECP256R1())


@functools.cache
def fixed_rsa_key():
    """The offsets give the first primes after two fixed numbers for which the exponent is valid."""
    p, q = ((int.from_bytes(fixed(name, 128), "big") | 3 << 1022) + offset for name, offset in RSA_PRIMES)
    e = 65537
    d = pow(e, -1, (p - 1) * (q - 1))
    public = rsa.RSAPublicNumbers(e, p * q)
    return rsa.RSAPrivateNumbers(p, q, d, d % (p - 1), d % (q - 1), pow(q, -1, p), public).private_key()


RSA_PRIMES = [("p", 366), ("q", 530)]


@dataclass
class Vector:
    id: str
    format: str
    comment: str
    made: f.Made
    files: dict                                   # suffix of the file's name after the id, and the bytes
    command: str = ""                             # the tool's arguments; "" if the tool doesn't make this file
    inputs: dict = field(default_factory=dict)    # files that the command reads
    outputs: list = field(default_factory=list)   # names under which the command writes `files`
    keys: dict = field(default_factory=dict)      # files in the tool's folder Keys
    judge: callable = None                        # checks the tool's files if bytes can't be compared
    image: object = None                          # the inputs of `made`, for bad vectors
    result: str = "good"
    base: str = ""                                # the good vector that a bad one is made from
    failure: str = ""
    rule: str = ""
    also: tuple = ()


KEY = fixed("key", 16)
NONCE = fixed("nonce", 12)
OPTION_BYTES = "PROTECTION,0x500,START,0x30000210\n"
OPTION_WORDS = f.words(0x500, 0x30000210)


def firmware(*segments):
    """`F` areas from (address, size), with their options and inputs."""
    areas = [f.Area("F", address, fixed(f"firmware {address:X}", size)) for address, size in segments]
    inputs = {f"firmware-{place}.bin": area.plain for place, area in enumerate(areas, 1)}
    options = "".join(f" -fir {name} 0x{area.address:08X}" for name, area in zip(inputs, areas))
    return areas, options, inputs


# Install images

def install(id, comment, areas, options, inputs, device="0x455", version=1, nonce=NONCE, protocol=1, option_bytes=True,
            arrange=list):
    inputs = inputs | {"key.bin": KEY, "nonce.bin": nonce}
    if option_bytes:
        inputs, options = inputs | {"option-bytes.csv": OPTION_BYTES.encode()}, options + " -ob option-bytes.csv"
    areas = f.complete(areas, OPTION_WORDS if option_bytes else b"", arrange)
    image = f.AreaImage(KEY, nonce, version, areas, protocol=protocol)
    made = f.make_area_image(image)
    suffix = ".tbix" if protocol == 2 else ".tbi"
    command = f"-tbi -devid {device}{options} -k key.bin -n nonce.bin -v {version} -o image{suffix}"
    return Vector(id, "installImage", comment, made, {suffix: made.data}, command, inputs, [f"image{suffix}"],
                  image=image)


def install_images():
    yield install("install", "The smallest useful image: one segment, hash, option bytes", *firmware((0x08000000, 16)))
    yield install("install-sizes", "Payloads of 1, 15, 16, 17 and 0 bytes; version 255",
                  *firmware((0x08000000, 1), (0x08000100, 15), (0x08000200, 16), (0x08000300, 17)), version=255,
                  option_bytes=False)
    for size in (1, 11, 13, 32):
        yield install(f"install-nonce-{size}", f"A nonce of {size} bytes, hashed like every other",
                      *firmware((0x08000000, 20)), nonce=fixed(f"nonce {size}", size), option_bytes=False)
    areas, options, inputs = firmware((0x08000000, 333), (0x08000400, 40))
    yield install("install-pieces", "A segment in three pieces that fit into 160 bytes", areas, options + " -rs 160",
                  inputs, arrange=lambda areas: f.in_pieces(areas, 30, 160))
    yield install_parts()
    yield install_parts_ends()
    yield install_side_files()
    yield install_modules()
    yield install_external()
    yield install_external_parts()


def install_parts():
    areas, options, inputs = firmware((0x08000000, 333), (0x08000400, 40))
    block = f.words(0x10000100, 40, 1)
    data = fixed("provisioning data", 40)
    areas.insert(0, f.Area("O", 0x10000100, block + data))
    return install("install-parts", "Three parts for a device with 256 bytes of RAM", areas,
                   " -obkeys data.obk" + options + " -rs 256 -ct 0x20000000", inputs | {"data.obk": block + data},
                   device="0x450", arrange=lambda areas: f.in_parts(areas, 30, 256, 0x20000000))


def packaged_module():
    """A module with two areas, in the form in which its maker delivers it."""
    def area(letter, index, address, data, second):
        header = letter + b"\0" + f.u16(index) + f.words(len(data), address) + f.u16(2)
        return header + second + fixed(f"module tag {index}", 16) + data
    return (b"TBIMAGIC" + f.u16(1) + f.u32(7) + f.u16(2) + fixed("module nonce", 16)
            + area(b"F", 1, 0x08004000, fixed("module code", 33), fixed("first block", 16))
            + area(b"C", 2, 0, fixed("module option bytes", 8), bytes(16)))


def install_parts_ends():
    """Areas with sizes for which parts end at unusual places."""
    licence, module = fixed("licence", 21), fixed("listed module", 150)
    firmware_areas, options, inputs = firmware((0x08000000, 100))
    areas = [f.Area("m", 0x08040000, f.u32(1) + licence), f.Area("M", 0x08040000, module)] + firmware_areas
    return install("install-parts-ends", "Parts that end between a licence and its module, and between H and C", areas,
                   " -mcsv modules.mcsv" + options + " -rs 256 -ct 0x20000000",
                   inputs | {"listed.bin": module, "one.lic": licence,
                             "modules.mcsv": b"./listed.bin,./one.lic,0x08040000\n"},
                   device="0x450", arrange=lambda areas: f.in_parts(areas, 30, 256, 0x20000000))


def install_side_files():
    module = packaged_module()
    first, second = (f.words(address, len(data), flag) + data for address, data, flag in
                     ((0x10000100, fixed("first data", 5), 1), (0x10000200, b"", 0)))
    firmware_areas, options, inputs = firmware((0x08000000, 32))
    areas = [f.Area("S", 0, module), f.Area("O", 0x10000100, first), f.Area("O", 0x10000200, second),
             f.Area("K", 0, f.words(0x200, 0x08010000)), f.Area("R", 0, f.words(1, 0xFFFFFFFF, 3, 0x10)),
             *firmware_areas]
    return install("install-side-files", "Packaged module, provisioning data, key area table, diversification", areas,
                   " -xtbi module.xtbi -obkeys first.obk second.obk -kx keys.kcsv -diver diversification.kcsv"
                   + options,
                   inputs | {"module.xtbi": module, "first.obk": first, "second.obk": second,
                             "keys.kcsv": b"0x200,0x08010000\n", "diversification.kcsv": b"1,FFFFFFFF\n0x3,10\n"},
                   device="0x484")


def module_file(address, size):
    return b"KMDMAGIC" + f.u32(address) + fixed(f"module {address:X}", size)


def install_modules():
    licence, listed = fixed("licence", 21), fixed("listed module", 50)
    placed, movable = module_file(0x08020000, 52), module_file(0, 20)
    moved = movable[:8] + f.u32(0x08030000) + movable[12:]
    firmware_areas, options, inputs = firmware((0x08000000, 32))
    areas = [f.Area("M", 0x08020000, placed), f.Area("M", 0x08030000, moved),
             f.Area("m", 0x08040000, f.u32(1) + licence), f.Area("M", 0x08040000, listed),
             f.Area("m", 0x08050000, f.u32(2) + b"Product-1"), f.Area("M", 0x08050000, listed)] + firmware_areas
    module_list = "./listed.bin,./one.lic,0x08040000\n./listed.bin,Product-1,0x08050000\n"
    return install("install-modules", "Modules of -m and of a list, with licence and identity", areas,
                   " -m placed.kmd -m movable.kmd 0x08030000 -mcsv modules.mcsv" + options,
                   inputs | {"placed.kmd": placed, "movable.kmd": movable, "listed.bin": listed, "one.lic": licence,
                             "modules.mcsv": module_list.encode()})


def install_external():
    data, code, module = (fixed(name, size) for name, size in (("data", 40), ("code", 24), ("external module", 33)))
    firmware_areas, options, inputs = firmware((0x08000000, 32))
    regions = [(0xB0000000, 2, 0, 0x08010000, data), (0xB0001000, 3, 5, 0x08010010, code)]
    areas = (firmware_areas + f.external_areas(KEY, NONCE, "E", regions)
             + [f.Area("m", 0xB0002000, f.u32(2) + b"Product-1")]
             + f.external_areas(KEY, NONCE, "e", [(0xB0002000, 1, 4, 0x08010020, module)]))
    return install("install-external", "External memory: regions 0, 5 and 4, each with its key", areas,
                   options + " -firx data.bin 0xB0000000 2 0 0x08010000 -firx code.bin 0xB0001000 3 5 0x08010010"
                   " -ecsv modules.ecsv",
                   inputs | {"data.bin": data, "code.bin": code, "module.bin": module,
                             "modules.ecsv": b"./module.bin,Product-1,0xB0002000,4,1,0x08010020\n"}, protocol=2)


def install_external_parts():
    data = fixed("data", 40)
    firmware_areas, options, inputs = firmware((0x08000000, 150))
    areas = firmware_areas + f.external_areas(KEY, NONCE, "E", [(0xB0000000, 2, 0, 0x08010000, data)])
    return install("install-external-parts", "Parts with second blocks, for a device with 224 bytes of RAM", areas,
                   options + " -firx data.bin 0xB0000000 2 0 0x08010000 -rs 224 -ct 0x20000000",
                   inputs | {"data.bin": data}, device="0x480", protocol=2,
                   arrange=lambda areas: f.in_parts(areas, 46, 224, 0x20000000))


# Update images, provisioning payloads and images

def intel_hex(address, data):
    """One record per line, for a command that accepts no address for a raw file."""
    def record(kind, offset, content):
        line = bytes([len(content)]) + offset.to_bytes(2, "big") + bytes([kind]) + content
        return f":{(line + bytes([-sum(line) & 0xFF])).hex().upper()}\n"
    lines = [record(4, 0, (address >> 16).to_bytes(2, "big"))]
    lines += [record(0, (address & 0xFFFF) + i, data[i:i + 16]) for i in range(0, len(data), 16)]
    return ("".join(lines) + record(1, 0, b"")).encode()


def update(id, comment, version, size, command=True):
    segment = fixed("update", size)
    made = f.update_image(KEY, NONCE, version, 0x08008000, segment)
    arguments = (f"-tbu -fir firmware.hex -k key.bin -n nonce.bin -v {version} -oh image.tbuh -os image.tbu"
                 if command else "")
    return Vector(id, "updateImage", comment, made, {".tbuh": made.data[:64], ".tbu": made.data[64:]}, arguments,
                  {"firmware.hex": intel_hex(0x08008000, segment), "key.bin": KEY, "nonce.bin": NONCE},
                  ["image.tbuh", "image.tbu"],
                  image={"key": KEY, "nonce": NONCE, "version": version, "address": 0x08008000, "segment": segment})


def update_images():
    yield update("update", "A segment of 50 bytes", 2, 50)
    yield update("update-version-255", "The highest version that fits into the IV; one byte", 255, 1)
    yield update("update-version-256", "Only the low byte of the version goes into the IV. The command ends at 255",
                 256, 17, command=False)


BLOB = fixed("secrets", 152)
NONCE16 = fixed("nonce 16", 16)
OEM_KEY = fixed_ec_key("OEM key").public_key()


def payload(id, comment, protocol, binding, binding_file):
    made = f.provisioning_payload(KEY, NONCE16, binding, protocol, BLOB)
    made.details["deviceBinding"] = binding
    name = "oem.pem" if protocol == 1 else "oem.bin"
    return Vector(id, "provisioningPayload", comment, made, {".pvs": made.data},
                  f"-pvs -b secrets.bin -pk {name} -k key.bin -n nonce.bin -o payload.pvs",
                  {"secrets.bin": BLOB, name: binding_file, "key.bin": KEY, "nonce.bin": NONCE16}, ["payload.pvs"],
                  image={"key": KEY, "nonce": NONCE16, "binding": binding, "protocol": protocol, "blob": BLOB})


def payloads():
    yield payload("payload", "Bound to an OEM public key", 1, f.public_key_binding(OEM_KEY), f.pem_of_public(OEM_KEY))
    table_hash = fixed("root key table", 32)
    yield payload("payload-table", "Bound to the hash of a root key table", 2, table_hash, table_hash)


def provisioning_image(id, comment, version, blob, records):
    base = 0x50000000
    areas = [f.Area("S", 0, blob)] + [f.Area("B", base + record.offset, record.bytes) for record in records]
    image = f.AreaImage(KEY, NONCE, version, areas, b"PVSMAGIC", kind=f.PROVISIONING)
    made = f.make_area_image(image)
    inputs = {"secrets.bin": blob, "key.bin": KEY, "nonce.bin": NONCE}
    if records:
        inputs["backup.bin"] = b"".join(record.bytes for record in records)
    backup = f" -backup backup.bin 0x{base:08X}" if records else ""
    return Vector(id, "provisioningImage", comment, made, {".pvs": made.data},
                  f"-pvs-tbi -b secrets.bin{backup} -k key.bin -n nonce.bin -iv {version} -o image.pvs", inputs,
                  ["image.pvs"], image=image)


RECORDS = [f.BackupRecord(0, fixed("encrypted", 32), lock=1, wrap=2, key_size=1, algorithm=1, nonce=fixed("CBC", 16)),
           f.BackupRecord(0x20, fixed("wrapped", 16), wrap=1), f.BackupRecord(0x40, fixed("plain", 4))]


def provisioning_images():
    yield provisioning_image("provisioning", "Secrets and three sections of backup memory", 1, fixed("blob", 20),
                             RECORDS)
    yield provisioning_image("provisioning-1", "A blob of one byte; version 255", 255, b"\x5A", [])


def backup_document(records):
    def protection(record):
        values = {"Lock": (0x1C, record.lock), "CID": (0x1D, 0), "EncWrap": (0x1A, record.wrap), "KeySel": (0x10, 0),
                  "KeySize": (0x18, record.key_size), "Algorithm": (0x13, record.algorithm)}
        fields = {name: {"BitOffset": hex(offset), "BitWidth": "0x3", "BitValue": hex(value), "PossibleValues": {}}
                  for name, (offset, value) in values.items()}
        if record.nonce:
            fields["Algorithm"]["Nonce"] = "./nonce.bin"
        return fields
    return json.dumps({"Title": "Backup", "Files": [
        {"Name": f"record {place}", "Path": f"./record-{place}.bin", "Offset": hex(record.offset),
         "Protection": protection(record)} for place, record in enumerate(records, 1)]})


def backups():
    made = f.backup_image(RECORDS)
    inputs = {f"record-{place}.bin": record.data for place, record in enumerate(RECORDS, 1)}
    inputs |= {"backup.json": backup_document(RECORDS).encode(), "nonce.bin": RECORDS[0].nonce}
    yield Vector("backup", "backupImage", "Encrypted data with a nonce, a wrapped key, plain data", made,
                 {".bin": made.data}, "-backupgen -in backup.json -o backup.bin", inputs, ["backup.bin"], image=RECORDS)


# Provisioning data files

def template(parameters, output, header=True, digest=False, authentication=False):
    place = "<ObDestAddress>0x10000100</ObDestAddress><DoEncryption>1</DoEncryption>" if header else ""
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<Root>\n<Obdata>\n'
            f"<Info><Title>Vector</Title>{place}<GlobalAlign>16</GlobalAlign></Info>\n"
            + ("<Hash/>\n" if digest else "") + ("<DA/>\n" if authentication else "") + parameters
            + f"<Output><Name>Output</Name><Default>./{output}</Default></Output>\n</Obdata>\n</Root>\n").encode()


def parameter(kind, **tags):
    return f"<{kind}>" + "".join(f"<{tag}>{text}</{tag}>" for tag, text in tags.items()) + f"</{kind}>\n"


NUMBERS = (parameter("Data", Name="Offset", Width=4, Default="0x10203040")
           + parameter("Data", Name="Decimal", Width=2, Default="258")
           + parameter("Bool", Name="Switch", Width=1, Default="0x1", **{"True": "0x1", "False": "0x0"})
           + parameter("List", Name="Choice", Width=1, Default="2", Val="2")
           + parameter("File", Name="Key", Align=16, KeyType="raw", Default="./key.bin"))
NUMBER_BYTES = f.u32(0x10203040) + f.u16(258) + b"\1\2"
PASSWORD = b"correct horse"
AUTHENTICATION = (parameter("Text", Name="Password", Width=16, MinWidth=4, Default=PASSWORD.decode())
                  + parameter("Data", Name="Level", Width=4, Default="0x11")
                  + parameter("Permission", Name="Permission", Width=16, Default="0x22114433"))


def provisioning(id, comment, made, suffix, parameters, inputs, **switches):
    return Vector(id, "provisioningFile", comment, made, {suffix: made.data}, "-obk template.xml",
                  inputs | {"template.xml": template(parameters, "data" + suffix, **switches)}, ["data" + suffix])


def provisioning_files():
    file_content = fixed("file", 20)
    numbers = f.padded(f.padded(NUMBER_BYTES, 16) + file_content, 16)
    inputs = {"key.bin": file_content}
    yield provisioning("data", "Without digest", f.provisioning_file(numbers, 0x10000100, 1, False), ".obk", NUMBERS,
                       inputs)
    yield provisioning("data-digest", "With digest", f.provisioning_file(numbers, 0x10000100, 1, True), ".obk", NUMBERS,
                       inputs, digest=True)
    yield provisioning("data-body", "Template without address: digest and payload alone",
                       f.provisioning_body(numbers, True), ".bin", NUMBERS, inputs, digest=True, header=False)
    authentication = f.authentication_payload(PASSWORD, f.u32(0x11) + f.permission_mask("22114433") + bytes(12))
    yield provisioning("data-authentication", "Debug authentication: digest of the password, then permissions",
                       f.provisioning_file(authentication, 0x10000100, 1, False), ".obk", AUTHENTICATION, {},
                       authentication=True)
    made = f.password_file(PASSWORD)
    yield Vector("password", "passwordFile", "The password beside a debug authentication file", made,
                 {".bin": made.data}, "-obk template.xml",
                 {"template.xml": template(AUTHENTICATION, "data.obk", authentication=True)},
                 ["password.bin"])


# Memory cipher, signatures, keys

def memory_images():
    app = fixed("application", 100)
    # A common address, one that isn't a multiple of the group size, and one that wraps.
    for mode, (name, start) in enumerate((("normal", 0x90ABCDE0), ("fast", 0x90ABCDE4), ("noekeon", 0xFFFFFFE0))):
        made = memory_image(KEY, start, mode, app)
        made.details = {"key": KEY} | made.details
        yield Vector(f"memory-{name}", "memoryImage", f"Mode {mode}: three groups, four bytes dropped", made,
                     {".bin": made.data}, f"-dcu -app app.bin -key key.bin -directory . -add {start:08X} -mode {mode}",
                     {"app.bin": app, "key.bin": KEY}, ["Encrypted_Image.bin"])


SIGNING_KEY = fixed_ec_key("signing key")
ONE_TIME = int.from_bytes(fixed("one-time number", 31), "big")
STACK = fixed("stack", 60) + bytes.fromhex("91293723") + fixed("behind", 8)


def judge_signed(vector, files):
    """A signature differs from run to run. All bytes except r and s are compared, and the signature is verified."""
    image, = files
    if image[:-64] != vector.made.data[:-64]:
        return "differs outside its signature"
    signed_part = image[:vector.made.details["signedLength"]]
    return f.signature_fault(SIGNING_KEY.public_key(), signed_part + image[-80:-64], image[-64:])


def signed_images():
    made = f.signed_image(SIGNING_KEY, STACK, 64, 3, ONE_TIME)
    yield Vector("signed", "signedImage", "64 signed bytes, 8 that nothing covers", made, {".bin": made.data},
                 "-sign -bin image.bin -prvk private.pem -v 3 -o signed.bin",
                 {"image.bin": STACK, "private.pem": f.pem_of_private(SIGNING_KEY)}, ["signed.bin"], judge=judge_signed)


def personalizations():
    tool_key, card_key = fixed_ec_key("tool key"), fixed_ec_key("card key")
    made = f.personalization_data(tool_key, card_key.public_key(), fixed("personalization", 108))
    made.details = {"cardPrivateKey": f.pem_of_private(card_key).decode(),
                    "toolPublicKey": f.pem_of_public(tool_key.public_key()).decode()} | made.details
    yield Vector("personalization", "personalizationData", "108 bytes under a fixed pair of keys", made,
                 {".bin": made.data}, "-gpdata data.bin sealed.bin", {"data.bin": made.details["plaintext"]},
                 ["sealed.bin"],
                 keys={"perso_private.pem": f.pem_of_private(tool_key),
                       "card_public.pem": f.pem_of_public(card_key.public_key())})


def wireless():
    key = fixed_rsa_key()
    binary = fixed("wireless", 100)
    made = f.wireless_binary(key, binary)
    yield Vector("wireless", "wirelessBinary", "100 bytes and their RSA signature", made, {".bin": made.data},
                 "-signbin -k private.pem -f binary.bin -o signed.bin",
                 {"private.pem": f.pem_of_private(key), "binary.bin": binary}, ["signed.bin"])
    names = ["private.pem", "public.pem", "key.c", "key.py", "key.txt"]
    made = f.Made(details=f.key_details(key))
    yield Vector("wireless-keys", "wirelessKeyFile", "A fixed pair in the five forms", made, f.key_files(key),
                 "-keygen -k private.pem public.pem -f key.c key.py key.txt", {}, names, judge=judge_key_files)


def judge_key_files(vector, files):
    """The command makes a new pair. Its files must match the private key among them."""
    expected = f.key_files(f.load_private(files[0]))
    wrong = [name for name, data, wanted in zip(vector.outputs, files, expected.values()) if data != wanted]
    return f"{', '.join(wrong)} not as the private key" if wrong else ""


def good_vectors():
    for table in (install_images, update_images, payloads, provisioning_images, backups, provisioning_files,
                  memory_images, signed_images, personalizations, wireless):
        yield from table()
