"""A second implementation of the formats, from docs/formats.md only. Each function makes a file and its description.
It shares nothing with the tool, so that a mistake in one of them shows."""
import hashlib
import hmac
from dataclasses import dataclass, field, replace

from cryptography.exceptions import InvalidSignature
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, padding
from cryptography.hazmat.primitives.asymmetric.utils import encode_dss_signature
from cryptography.hazmat.primitives.ciphers.aead import AESGCM


def u16(value):
    return value.to_bytes(2, "little")


def u32(value):
    return value.to_bytes(4, "little")


def words(*values):
    return b"".join(u32(value) for value in values)


def sha256(data):
    return hashlib.sha256(data).digest()


def address_text(value):
    return f"0x{value:08X}"


def seal(key, iv, plain, aad):
    """The encrypted bytes and the tag."""
    sealed = AESGCM(key).encrypt(iv, plain, aad)
    return sealed[:-16], sealed[-16:]


@dataclass
class Made:
    """A file, its ranges and its details. Each byte is in exactly one range."""
    data: bytes = b""
    ranges: list = field(default_factory=list)
    details: dict = field(default_factory=dict)

    def add(self, data, name, role, cover, **more):
        """Appends a range. An empty range is omitted."""
        if data:
            self.ranges.append({"offset": len(self.data), "size": len(data), "name": name, "role": role,
                                "cover": cover} | more)
            self.data += data


# Install image and provisioning image

INSTALL, PROVISIONING, UPDATE = 0, 1, 2
FILE_HEADER = 28


def base_iv(nonce):
    return sha256(nonce)[:12]


def area_iv(base, kind, version, number):
    mask = kind << 24 | (version & 0xFF) << 16 | number
    return base[:8] + (int.from_bytes(base[8:], "big") ^ mask).to_bytes(4, "big")


def region_key(key, number, base):
    return hmac.new(key, b"region" + bytes([number]) + base, "sha256").digest()[:16]


def region_descriptor(address, mode, number, key_address):
    return words(address, mode, number, key_address)


@dataclass
class Area:
    """`own_number`, `own_version`, `own_count` and `own_iv` replace the right values in bad vectors."""
    letter: str
    address: int
    plain: bytes
    second: bytes = bytes(16)
    own_number: int = None
    own_version: int = None
    own_count: int = None
    own_iv: bytes = None


@dataclass
class AreaImage:
    """The inputs of an install or provisioning image."""
    key: bytes
    nonce: bytes
    version: int
    areas: list
    magic: bytes = b"TBIMAGIC"
    protocol: int = 1
    kind: int = INSTALL
    unused: bytes = bytes(4)
    own_count: int = None
    own_base: bytes = None

    @property
    def base(self):
        return self.own_base or base_iv(self.nonce)

    @property
    def has_second_block(self):
        return self.protocol == 2 or self.kind == PROVISIONING

    @property
    def area_header(self):
        return 46 if self.has_second_block else 30

    def with_area(self, number, **changes):
        areas = list(self.areas)
        areas[number - 1] = replace(areas[number - 1], **changes)
        return replace(self, areas=areas)


def hash_area(areas):
    """The `H` area that follows `areas`."""
    return Area("H", 0, sha256(b"".join(area.plain for area in areas)))


def external_areas(key, nonce, letter, regions):
    """`E` or `e` areas, one for each (address, mode, number, key address, bytes). The region key follows the bytes."""
    return [Area(letter, address, data + region_key(key, number, base_iv(nonce)),
                 region_descriptor(address, mode, number, key_address))
            for address, mode, number, key_address, data in regions]


def split(area, size):
    return replace(area, plain=area.plain[:size]), replace(area, plain=area.plain[size:], address=area.address + size)


def in_pieces(areas, header, ram):
    """`F` areas cut so that header and payload of each piece fit into the RAM size."""
    largest = (ram - header) // 32 * 32
    pieces = []
    for area in areas:
        while area.letter == "F" and header + len(area.plain) > ram:
            piece, area = split(area, largest)
            pieces.append(piece)
        pieces.append(area)
    return pieces


def in_parts(areas, header, ram, token):
    """Areas in parts, with a `P` area at the end of each part except the last. `areas` ends with `H` and `C`."""
    room = left = ram - (header + 8)
    laid = []
    for area in areas:
        while header + len(area.plain) > left:
            if area.letter == "F" and left >= header + 32:
                piece, area = split(area, (left - header) // 32 * 32)
                laid.append(piece)
            laid.append(Area("P", token, b""))
            left = room
        laid.append(area)
        left -= header + len(area.plain)
    ends = [index for index, area in enumerate(laid) if area.letter == "P"]
    for part, index in enumerate(ends, 1):
        laid[index].plain = words(part, len(laid) - index - 1)
    return laid


def complete(areas, option_bytes=b"", arrange=list):
    """The areas followed by `H` and `C`. `arrange` cuts them into pieces or parts."""
    laid = arrange(areas + [Area("H", 0, bytes(32)), Area("C", 0, option_bytes)])
    place = next(index for index, area in enumerate(laid) if area.letter == "H")
    laid[place] = hash_area(laid[:place])
    return laid


def make_area_image(image):
    made = Made()
    count = len(image.areas) if image.own_count is None else image.own_count
    made.add(image.magic, "magic", "header", "tag")
    made.add(u16(image.protocol), "protocolVersion", "header", "tag")
    made.add(u16(count), "areaCount", "header", "tag")
    made.add(image.base, "baseIv", "header", "tag")
    made.add(image.unused, "unused", "unused", "tag")
    made.details = {"key": image.key, "nonce": image.nonce, "protocolVersion": image.protocol,
                    "imageVersion": image.version, "areaCount": count, "baseIv": image.base, "areas": []}
    file_header = made.data
    for place, area in enumerate(image.areas, 1):
        add_area(made, image, area, place, count, file_header)
    return made


def add_area(made, image, area, place, count, file_header):
    number = place if area.own_number is None else area.own_number
    version = image.version if area.own_version is None else area.own_version
    area_count = count if area.own_count is None else area.own_count
    fields = [(area.letter.encode(), "letter"), (bytes([version & 0xFF]), "imageVersion"), (u16(number), "index"),
              (u32(len(area.plain)), "payloadSize"), (u32(area.address), "address"), (u16(area_count), "areaCount")]
    second = area.second if image.has_second_block else b""
    aad = file_header + b"".join(data for data, _ in fields) + second
    iv = area.own_iv or area_iv(image.base, image.kind, version, number)
    cipher, tag = seal(image.key, iv, area.plain, aad)
    start = len(made.data)
    for data, name in fields:
        made.add(data, name, "header", "tag", area=place)
    made.add(tag, "tag", "tag", "tag", area=place)
    made.add(second, "regionDescriptor" if any(second) else "unused", "header" if any(second) else "unused", "tag",
             area=place)
    made.add(cipher, "payload", "payload", "tag", area=place)
    made.details["areas"].append(
        {"index": number, "letter": area.letter, "address": address_text(area.address), "offset": start,
         "size": len(made.data) - start, "payloadSize": len(area.plain), "iv": iv, "additionalData": aad, "tag": tag,
         "plaintext": area.plain, "ciphertext": cipher} | region_details(area))


def region_details(area):
    if area.letter not in "Ee":
        return {}
    address, mode, number, key_address = (int.from_bytes(area.second[i:i + 4], "little") for i in range(0, 16, 4))
    return {"region": {"address": address_text(address), "mode": mode, "number": number,
                       "keyAddress": address_text(key_address), "key": area.plain[-16:]}}


# Update image and provisioning payload

@dataclass
class SealedFile:
    """A header with a tag inside it, then the payload. `front` and `back` are the header fields before and after the
    tag, as (bytes, name)."""
    key: bytes
    iv: bytes
    plain: bytes
    front: list
    back: list
    details: dict


def make_sealed_file(file):
    aad = b"".join(data for data, _ in file.front + file.back)
    cipher, tag = seal(file.key, file.iv, file.plain, aad)
    made = Made()
    for data, name in file.front:
        made.add(data, name, "header", "tag")
    made.add(tag, "tag", "tag", "tag")
    for data, name in file.back:
        made.add(data, name, "unused", "tag")
    made.add(cipher, "payload", "payload", "tag")
    made.details = {"key": file.key} | file.details | {"iv": file.iv, "additionalData": aad, "tag": tag,
                                                       "plaintext": file.plain, "ciphertext": cipher}
    return made


def update_image(key, nonce, version, address, segment, magic=b"TBUMAGIC", protocol=1, size=None, unused=bytes(16),
                 iv=None):
    base = base_iv(nonce)
    size = len(segment) if size is None else size
    front = [(magic, "magic"), (u16(protocol), "protocolVersion"), (u16(version), "imageVersion"),
             (u32(size), "payloadSize"), (u32(address), "address"), (base, "baseIv")]
    details = {"nonce": nonce, "protocolVersion": protocol, "imageVersion": version,
               "address": address_text(address), "payloadSize": size, "baseIv": base}
    return make_sealed_file(SealedFile(key, iv or area_iv(base, UPDATE, version, 0), segment, front,
                                       [(unused, "unused")], details))


def public_key_binding(public_key):
    return sha256(public_key.public_bytes(serialization.Encoding.DER,
                                          serialization.PublicFormat.SubjectPublicKeyInfo))


def provisioning_payload(key, nonce, binding, protocol, blob, magic=b"PVSPAYLD", header_size=96, size=None,
                         unused=bytes(16)):
    size = len(blob) if size is None else size
    front = [(magic, "magic"), (u16(protocol), "protocolVersion"), (u16(header_size), "headerSize"),
             (u32(size), "payloadSize"), (nonce, "nonce"), (binding, "binding")]
    details = {"protocolVersion": protocol, "headerSize": header_size, "payloadSize": size, "nonce": nonce,
               "binding": binding}
    return make_sealed_file(SealedFile(key, nonce, blob, front, [(unused, "unused")], details))


# Provisioning data files

def provisioning_file(payload, address, encrypt, with_hash, size=None, digest=None):
    digest = (digest or sha256(payload)) if with_hash else b""
    size = len(digest + payload) if size is None else size
    made = Made()
    made.add(u32(address), "address", "header", "none")
    made.add(u32(size), "payloadSize", "header", "structure")
    made.add(u32(encrypt), "encryptionFlag", "header", "none")
    add_provisioning_body(made, digest, payload)
    made.details |= {"hasHeader": True, "address": address_text(address), "payloadSize": size,
                     "encryptionFlag": encrypt}
    return made


def provisioning_body(payload, with_hash):
    """The file of a template without address and flag."""
    made = Made()
    add_provisioning_body(made, sha256(payload) if with_hash else b"", payload)
    return made


def add_provisioning_body(made, digest, payload):
    made.add(digest, "digest", "tag", "digest")
    made.add(payload, "payload", "payload", "digest" if digest else "none")
    made.details = {"hasHeader": False, "hasDigest": bool(digest), "digest": digest, "payload": payload}


def padded(payload, align):
    return payload + bytes(-len(payload) % align)


def authentication_payload(main, rest):
    body = sha256(main) + rest
    return body + bytes(max(0, 64 - len(body)))


def permission_mask(digits):
    """Pairs of hexadecimal digits in reverse order, padded to 32 bytes."""
    return bytes.fromhex(digits)[::-1].ljust(32, b"\0")


def password_file(password, marker=0x80000000, length=None):
    made = Made()
    made.add(u32(marker), "marker", "header", "structure")
    made.add(bytes([len(password) if length is None else length]), "length", "header", "structure")
    made.add(bytes(3), "unused", "unused", "structure")
    made.add(password, "password", "payload", "none")
    made.details = {"password": password}
    return made


# Backup image

@dataclass
class BackupRecord:
    offset: int
    data: bytes
    lock: int = 0
    wrap: int = 0
    key_size: int = 0
    algorithm: int = 0
    nonce: bytes = b""
    own_size: int = None

    # The bit offsets of the fields in examples/backup/backup.json.
    positions = {"lock": 0x1C, "wrap": 0x1A, "key_size": 0x18, "algorithm": 0x13}

    @property
    def protection(self):
        return sum(getattr(self, name) << position for name, position in self.positions.items())

    @property
    def header(self):
        size = len(self.nonce + self.data) if self.own_size is None else self.own_size
        return words(self.offset, self.protection, size)

    @property
    def bytes(self):
        return self.header + self.nonce + self.data


def backup_image(records):
    made = Made(details={"records": []})
    for place, record in enumerate(records, 1):
        made.details["records"].append({"offset": len(made.data), "backupOffset": address_text(record.offset),
                                        "protection": address_text(record.protection), "nonce": record.nonce,
                                        "data": record.data})
        for start, name, cover in ((0, "offset", "none"), (4, "protection", "none"), (8, "payloadSize", "structure")):
            made.add(record.header[start:start + 4], name, "header", cover, record=place)
        made.add(record.nonce, "nonce", "payload", "none", record=place)
        made.add(record.data, "payload", "payload", "none", record=place)
    return made


# Signatures and personalization data

P256_ORDER = 0xFFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551


def ecdsa_signature(private_key, digest, one_time_number):
    """r and s with a given one-time number. Only vectors may do this: a known or repeated number reveals the key."""
    point = ec.derive_private_key(one_time_number, ec.SECP256R1()).public_key().public_numbers()
    r = point.x % P256_ORDER
    secret = private_key.private_numbers().private_value
    s = pow(one_time_number, -1, P256_ORDER) * (int.from_bytes(digest, "big") + r * secret) % P256_ORDER
    return r.to_bytes(32, "big") + s.to_bytes(32, "big")


def signature_fault(public_key, message, signature):
    """The fault of a signature. Empty if r and s are a signature of the message."""
    numbers = (int.from_bytes(half, "big") for half in (signature[:32], signature[32:]))
    try:
        public_key.verify(encode_dss_signature(*numbers), message, ec.ECDSA(hashes.SHA256()))
    except InvalidSignature:
        return "has a signature that doesn't verify"
    return ""


def point_bytes(public_key):
    numbers = public_key.public_numbers()
    return numbers.x.to_bytes(32, "big") + numbers.y.to_bytes(32, "big")


def signed_image(private_key, image, signed_length, version, one_time_number, magic=b"VXSG", algorithm=0,
                 unused=bytes(3), signed=None):
    """`signed` replaces the signed bytes in bad vectors."""
    head = magic + u32(version) + bytes([algorithm]) + unused + u32(signed_length)
    digest = sha256(image[:signed_length] + head if signed is None else signed)
    signature = ecdsa_signature(private_key, digest, one_time_number)
    made = Made()
    made.add(image[:signed_length], "signedPart", "payload", "signature")
    made.add(image[signed_length:], "unsignedPart", "payload", "none")
    for data, name, role in ((magic, "magic", "header"), (u32(version), "imageVersion", "header"),
                             (bytes([algorithm]), "algorithm", "header"), (unused, "unused", "unused"),
                             (u32(signed_length), "signedLength", "header")):
        made.add(data, name, role, "signature")
    made.add(signature[:32], "r", "tag", "signature")
    made.add(signature[32:], "s", "tag", "signature")
    made.details = {"imageVersion": version, "algorithm": algorithm, "signedLength": signed_length, "digest": digest,
                    "publicKey": point_bytes(private_key.public_key())}
    return made


def personalization_data(private_key, card_key, data):
    shared = private_key.exchange(ec.ECDH(), card_key)
    secret = sha256(shared + b"\0\0\0\1")
    cipher, tag = seal(secret[:16], secret[16:28], data, b"")
    made = Made()
    made.add(tag, "tag", "tag", "tag")
    made.add(cipher, "payload", "payload", "tag")
    made.details = {"sharedX": shared, "secret": secret, "key": secret[:16], "iv": secret[16:28], "tag": tag,
                    "plaintext": data, "ciphertext": cipher}
    return made


def wireless_binary(private_key, binary, size=None):
    size = len(binary) if size is None else size
    body = binary[:24] + u32(size) + binary[28:]
    made = Made()
    made.add(body[:24], "binary", "payload", "signature")
    made.add(body[24:28], "size", "header", "signature")
    made.add(body[28:], "binary", "payload", "signature")
    made.add(private_key.sign(body, padding.PKCS1v15(), hashes.SHA256()), "signature", "tag", "signature")
    made.details = {"signedLength": len(body), "digest": sha256(body),
                    "publicKey": pem_of_public(private_key.public_key()).decode()}
    return made


# Key files

def pem_of_public(key):
    return key.public_bytes(serialization.Encoding.PEM, serialization.PublicFormat.SubjectPublicKeyInfo)


def pem_of_private(key):
    return key.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.TraditionalOpenSSL,
                             serialization.NoEncryption())


def load_private(pem):
    return serialization.load_pem_private_key(pem, None)


def key_details(private_key):
    numbers = private_key.public_key().public_numbers()
    return {"modulus": numbers.n.to_bytes(256, "big"), "exponent": numbers.e,
            "r2": pow(2, 4096, numbers.n).to_bytes(256, "big")}


def key_files(private_key, r2=None):
    """The five files of a wireless-chip key pair, by the suffix after their common name."""
    numbers = private_key.public_key().public_numbers()
    modulus = numbers.n.to_bytes(256, "big")
    r2 = r2 or pow(2, 4096, numbers.n).to_bytes(256, "big")
    exponent = ", ".join(f"0x{byte:02x}" for byte in numbers.e.to_bytes(4, "big"))
    public = pem_of_public(private_key.public_key())
    arrays = [("modulus", ",".join(map(str, modulus))), ("r2", ",".join(map(str, r2))), ("exponent", exponent)]
    c_text = "\n".join(f"const uint8_t {name}[] = {{{content}}};\n" for name, content in arrays)
    python_text = "\n".join(f"{name} = [{content}]\n" for name, content in arrays)
    return {"-private.pem": pem_of_private(private_key), "-public.pem": public,
            ".c": b'#include "tarnwave_x_device.h"\n\n' + c_text.encode(), ".py": python_text.encode(),
            ".txt": modulus_text(modulus).encode() + public}


def modulus_text(modulus):
    pairs = [f"{byte:02x}" for byte in b"\0" + modulus]
    lines = ["    " + ":".join(pairs[start:start + 15]) for start in range(0, len(pairs), 15)]
    return "Public-Key: (2048 bit)\nModulus:\n" + ":\n".join(lines) + "\nExponent: 65537 (0x10001)\n"
