"""The bad vectors. Each file has one fault and is named after it. Files with tags are sealed again after the change, so
that their tags are good and a later check finds the fault. Rows with "tag" or "signature" are the exception."""
from dataclasses import dataclass, replace

import formats as f
from good import ONE_TIME, RECORDS, SIGNING_KEY, STACK, Vector, fixed, fixed_ec_key, fixed_rsa_key

# The details of a good vector that are also true for a file with a changed byte.
SHARED_DETAILS = ("key", "nonce", "deviceBinding", "publicKey", "cardPrivateKey", "toolPublicKey", "hasHeader",
                  "hasDigest")


@dataclass
class Row:
    name: str
    failure: str    # structure: found without a key; tag, digest, signature: that check fails; content: in plaintext
    rule: str
    made: object    # a description, or the bytes of a file without one
    also: tuple = ()    # other rules that the fault breaks; a reader may check one of them first
    comment: str = ""


def changed(data, offset, mask=1):
    return data[:offset] + bytes([data[offset] ^ mask]) + data[offset + 1:]


def with_bytes(data, offset, new):
    return data[:offset] + new + data[offset + len(new):]


def built(image, **changes):
    return f.make_area_image(replace(image, **changes))


def with_areas(image, areas):
    """The image with other areas before `C`, and with the `H` for them."""
    return replace(image, areas=[*areas, f.hash_area(areas), image.areas[-1]])


def before_hash(image):
    return list(image.areas[:-2])


def with_content(image, number, **changes):
    """The image with one area changed and a new `H` that matches it."""
    return with_areas(image, before_hash(image.with_area(number, **changes)))


def with_digest_of(image, plains):
    return image.with_area(len(image.areas) - 1, plain=f.sha256(b"".join(plains)))


# Install image

WHOLE = "the file holds all bytes that its headers promise"
SEALED = "the tag of an area covers both headers and the payload"
ORDER = "areas stand in the order of the table"
SECOND_ZERO = "the second block is zero but in external areas"
HASH = "H is the SHA-256 of all payloads before it"


def install_rows(good):
    image, data = good.image, good.made.data
    ends = [area["offset"] + area["size"] for area in good.made.details["areas"]]
    other = f.make_area_image(replace(image, nonce=b"other")).data
    second, third = (area["offset"] for area in good.made.details["areas"][1:])
    number, count = "areas are numbered 1, 2, 3 in file order", "every header gives the number of areas that there are"
    firmware, option_bytes = image.areas[0], image.areas[-1]
    return [
        Row("magic", "structure", "bytes 0 to 7 are TBIMAGIC", built(image, magic=b"TBIMAGIK")),
        Row("protocol", "structure", "the protocol version is 1 or 2", built(image, protocol=4)),
        Row("header-unused", "structure", "bytes 24 to 27 are zero", built(image, unused=b"\0\0\0\1")),
        Row("base-iv", "content", "the base IV is the start of SHA-256(nonce)",
            built(image, own_base=image.nonce)),
        Row("count-header", "structure", count, built(image, own_count=4), (WHOLE,)),
        Row("count-area", "structure", count, f.make_area_image(image.with_area(2, own_count=4))),
        Row("number-repeated", "structure", number, f.make_area_image(image.with_area(2, own_number=1))),
        Row("number-skipped", "structure", number, f.make_area_image(image.with_area(3, own_number=4))),
        Row("version", "structure", "every area has the same image version",
            f.make_area_image(image.with_area(2, own_version=2))),
        Row("letter", "structure", "the letter is one of the table",
            f.make_area_image(with_content(image, 1, letter="X"))),
        Row("no-hash", "structure", "an image has a hash area", built(image, areas=[firmware, option_bytes])),
        Row("no-option-bytes", "structure", "an option bytes area ends the image",
            built(image, areas=image.areas[:-1])),
        Row("area-behind-option-bytes", "structure", "the option bytes area is the last",
            built(image, areas=image.areas + [f.Area("F", 0x08000100, b"late")])),
        Row("bytes-behind-option-bytes", "structure", "no byte follows the option bytes area", data + b"\0"),
        Row("option-bytes-torn", "structure", "option bytes are 32-bit words",
            f.make_area_image(image.with_area(3, plain=option_bytes.plain[:6]))),
        Row("hash", "digest", HASH,
            f.make_area_image(image.with_area(2, plain=changed(image.areas[1].plain, 31)))),
        Row("overlap", "structure", "firmware areas don't overlap",
            f.make_area_image(with_areas(image, [firmware, f.Area("F", firmware.address + 8, bytes(16))]))),
        Row("descending", "structure", ORDER, f.make_area_image(
            with_areas(image, [f.Area("F", firmware.address + 0x100, bytes(8)), firmware]))),
        Row("firmware-empty", "structure", "an F area has bytes",
            f.make_area_image(with_content(image, 1, plain=b""))),
        Row("beyond-memory", "structure", "an area ends inside the address space",
            f.make_area_image(with_content(image, 1, address=0xFFFFFFFF))),
        Row("hash-address", "structure", "an H area has address 0", f.make_area_image(image.with_area(2, address=4))),
        Row("size-huge", "structure", WHOLE, with_bytes(data, 28 + 4, b"\xFF" * 4)),
        Row("empty", "structure", WHOLE, b""),
        Row("cut-in-file-header", "structure", WHOLE, data[:27]),
        Row("cut-behind-file-header", "structure", WHOLE, data[:28]),
        Row("cut-in-area-header", "structure", WHOLE, data[:second + 13]),
        Row("cut-in-tag", "structure", WHOLE, data[:second + 29]),
        Row("cut-in-payload", "structure", WHOLE, data[:-1]),
        Row("cut-behind-area", "structure", WHOLE, data[:third]),
        Row("tag-bit", "tag", SEALED, changed(data, 28 + 14)),
        Row("payload-bit", "tag", SEALED, changed(data, ends[0] - 1, 0x80)),
        Row("address-bit", "tag", SEALED, changed(data, 28 + 8)),
        Row("other-key", "tag", "the key is the device's", built(image, key=fixed("other key", 16)).data, (SEALED,)),
        Row("area-of-other-image", "tag", "an area belongs to its image", data[:28] + other[28:second] + data[second:],
            (SEALED,)),
    ]


def sizes_rows(good):
    image = good.image
    areas = before_hash(image)
    swapped = [replace(areas[1], own_number=2), replace(areas[0], own_number=1), *areas[2:]]
    return [
        Row("areas-swapped", "structure", "areas are numbered 1, 2, 3 in file order",
            f.make_area_image(with_areas(image, swapped))),
        Row("hash-order", "digest", "H takes the payloads in file order",
            f.make_area_image(with_digest_of(image, [area.plain for area in reversed(areas)])), (HASH,)),
    ]


def parts_rows(good):
    image = good.image
    places = [place for place, area in enumerate(image.areas, 1) if area.letter == "P"]
    first, second = (image.areas[place - 1].plain for place in places[:2])
    rest = int.from_bytes(first[4:], "little")
    without_parts = [area.plain for area in before_hash(image) if area.letter != "P"]
    return [
        Row("rest", "content", "P counts the areas behind it, not itself",
            f.make_area_image(with_content(image, places[0], plain=first[:4] + f.u32(rest + 1)))),
        Row("number", "content", "parts are numbered 1, 2, 3",
            f.make_area_image(with_content(image, places[1], plain=f.u32(1) + second[4:]))),
        Row("empty", "structure", "a part has areas",
            f.make_area_image(with_areas(image, [image.areas[places[0] - 1], *before_hash(image)]))),
        Row("token", "structure", "all P areas have the continuation address",
            f.make_area_image(image.with_area(places[1], address=0x20000004))),
        Row("hash-without-parts", "digest", "H takes the payloads of P areas too",
            f.make_area_image(with_digest_of(image, without_parts)), (HASH,)),
    ]


def side_files_rows(good):
    image = good.image
    areas = before_hash(image)
    provisioning, table = (next(place for place, area in enumerate(areas, 1) if area.letter == letter)
                           for letter in "OK")
    return [
        Row("order", "structure", ORDER,
            f.make_area_image(with_areas(image, [areas[-1], *areas[:-1]]))),
        Row("data-address", "content", "an O area goes to the address in its block",
            f.make_area_image(with_content(image, provisioning, address=0x10000300))),
        Row("data-size", "content", "an O area's size is that of its data", f.make_area_image(with_content(
            image, provisioning, plain=with_bytes(areas[provisioning - 1].plain, 4, f.u32(6))))),
        Row("table-empty", "structure", "tables are 32-bit words",
            f.make_area_image(with_content(image, table, plain=b""))),
    ]


def modules_rows(good):
    image = good.image
    areas = before_hash(image)
    licence = next(place for place, area in enumerate(areas, 1) if area.letter == "m")
    return [
        Row("licence-address", "structure", "an m area has the address of the module behind it",
            f.make_area_image(with_content(image, licence, address=0x08050000))),
        Row("licence-kind", "content", "an m area starts with 1 or 2",
            f.make_area_image(with_content(image, licence, plain=f.u32(3) + areas[licence - 1].plain[4:]))),
        Row("licences", "content", "a module has one licence, then one identity",
            f.make_area_image(with_areas(image, areas[:licence] + areas[licence - 1:]))),
        Row("identity-long", "content", "an identity has at most 15 bytes",
            f.make_area_image(with_content(image, licence, plain=f.u32(2) + bytes(16)))),
        Row("last-word", "structure", "no area starts in the last Flash word of a module",
            f.make_area_image(with_areas(image, areas + [f.Area("F", 0x08040034, bytes(8))]))),
    ]


def external_rows(good):
    image = good.image
    first, second = (place for place, area in enumerate(image.areas, 1) if area.letter == "E")
    area = image.areas[second - 1]
    descriptor = area.second

    def described(offset, value):
        return f.make_area_image(image.with_area(second, second=with_bytes(descriptor, offset, f.u32(value))))
    key_of_8 = area.plain[:-16] + f.region_key(image.key, 8, image.base)
    key_of_first = area.plain[:-16] + image.areas[first - 1].plain[-16:]
    return [
        Row("region-key", "content", "an E area ends with the key of its region",
            f.make_area_image(with_content(image, second, plain=key_of_first))),
        Row("region-address", "structure", "the descriptor's address is the segment's",
            described(0, area.address + 32)),
        Row("region-mode", "structure", "the region mode is 0 to 3", described(4, 4)),
        Row("region-number", "structure", "the region number is 0 to 7", f.make_area_image(with_content(
            image, second, plain=key_of_8, second=with_bytes(descriptor, 8, f.u32(8))))),
        Row("second-block", "structure", SECOND_ZERO,
            f.make_area_image(image.with_area(1, second=descriptor))),
        Row("protocol", "structure", "external areas need protocol version 2", built(image, protocol=1)),
        Row("descriptor-bit", "tag", "the tag of an area covers its descriptor",
            changed(good.made.data, good.made.details["areas"][second - 1]["offset"] + 30 + 12), (SEALED,)),
    ]


# Update image, provisioning payload and image

def update_rows(good):
    data, segment = good.made.data, good.image["segment"]

    def update(**changes):
        return f.update_image(**(good.image | changes))
    size = "the size in the header is the segment's"
    return [
        Row("magic", "structure", "bytes 0 to 7 are TBUMAGIC", update(magic=b"TBUMAGIK")),
        Row("protocol", "structure", "the protocol version is 1", update(protocol=2)),
        Row("size-small", "structure", size, update(size=len(segment) - 1)),
        Row("size-large", "structure", size, update(size=len(segment) + 1)),
        Row("empty", "structure", "the segment isn't empty", update(segment=b"")),
        Row("unused", "structure", "bytes 48 to 63 are zero", update(unused=bytes(15) + b"\1")),
        Row("cut", "structure", size, data[:-1]),
        Row("tag-bit", "tag", "the tag covers header and segment", changed(data, 32)),
        Row("version-bit", "tag", "the tag covers header and segment", changed(data, 10)),
        Row("payload-bit", "tag", "the tag covers header and segment", changed(data, 64)),
    ]


def payload_rows(good):
    data, blob = good.made.data, good.image["blob"]

    def payload(**changes):
        return f.provisioning_payload(**(good.image | changes))
    size, sealed = "the size in the header is the blob's", "the tag covers header and blob"
    other = f.public_key_binding(fixed_ec_key("other OEM key").public_key())
    return [
        Row("magic", "structure", "bytes 0 to 7 are PVSPAYLD", payload(magic=b"PVSPAYLE")),
        Row("protocol", "structure", "the protocol version is 1 or 2", payload(protocol=3)),
        Row("header-size", "structure", "the header has 96 bytes", payload(header_size=80)),
        Row("size-large", "structure", size, payload(size=len(blob) + 1)),
        Row("unused", "structure", "bytes 80 to 95 are zero", payload(unused=b"\1" + bytes(15))),
        Row("behind", "structure", size, data + b"\0"),
        Row("cut", "structure", size, data[:-1]),
        Row("binding", "content", "the binding is that of the device's OEM key", payload(binding=other)),
        Row("binding-bit", "tag", sealed, changed(data, 32)),
        Row("nonce-bit", "tag", sealed, changed(data, 31)),
        Row("tag-bit", "tag", sealed, changed(data, 64)),
    ]


def provisioning_rows(good):
    image, data = good.image, good.made.data
    secrets, *sections = image.areas
    record = sections[0].plain
    return [
        Row("magic", "structure", "bytes 0 to 7 are PVSMAGIC", built(image, magic=b"PVSMAGIK")),
        Row("no-secrets", "structure", "the first area holds the secrets", built(image, areas=sections)),
        Row("secrets-empty", "structure", "the secrets aren't empty",
            f.make_area_image(image.with_area(1, plain=b""))),
        Row("order", "structure", ORDER, built(image, areas=[*sections, secrets]),
            ("the first area holds the secrets",)),
        Row("option-bytes", "structure", "there is no option bytes area",
            built(image, areas=image.areas + [f.Area("C", 0, b"")]), ("the letter is one of the table",)),
        Row("second-block", "structure", SECOND_ZERO,
            f.make_area_image(image.with_area(1, second=b"\1" + bytes(15)))),
        Row("record-size", "content", "a B area holds one whole record",
            f.make_area_image(image.with_area(2, plain=with_bytes(record, 8, f.u32(len(record)))))),
        Row("record-algorithm", "content", "a B area holds one whole record",
            f.make_area_image(image.with_area(3, plain=changed(sections[1].plain, 6, 0x18)))),
        Row("secrets-address", "structure", "an S area has address 0",
            f.make_area_image(image.with_area(1, address=4))),
        Row("behind", "structure", "no byte follows the last area", data + b"\0"),
        Row("section-overlap", "content", "records don't overlap",
            f.make_area_image(image.with_area(3, address=sections[0].address + 4))),
        Row("cut", "structure", WHOLE, data[:-1]),
        Row("tag-bit", "tag", SEALED, changed(data, 28 + 14)),
    ]


# Files without a tag

def backup_rows(good):
    data = good.made.data
    encrypted, wrapped, plain = RECORDS

    def records(*changes):
        return f.backup_image([replace(record, **change) for record, change in zip(RECORDS, changes)])
    return [
        Row("cut-in-header", "structure", "a record header is whole", data[:len(data) - len(plain.bytes) + 11]),
        Row("cut-in-data", "structure", "a record has as many bytes as its header says", data[:-1]),
        Row("overlap", "structure", "records don't overlap", records({}, {}, {"offset": wrapped.offset + 12})),
        Row("offset", "structure", "an offset is a multiple of 4", records({}, {}, {"offset": 0x41})),
        Row("nonce", "structure", "a record with AES-CBC starts with a nonce of 16 bytes",
            f.backup_image([replace(encrypted, nonce=b"", data=bytes(12))]),
            comment="One record with AES-CBC and 12 bytes of data"),
        Row("words", "structure", "data has a multiple of 4 bytes", records({}, {}, {"data": plain.data[:3]})),
        Row("algorithm", "structure", "the algorithm is 0 to 2", records({}, {"algorithm": 3}, {})),
    ]


def data_rows(good):
    payload, data = good.made.details["payload"], good.made.data

    def file(**changes):
        return f.provisioning_file(payload, 0x10000100, 1, True, **changes)
    size = len(data) - 12
    return [
        Row("size-small", "structure", "the size and 12 are the file's length", file(size=size - 1)),
        Row("size-large", "structure", "the size and 12 are the file's length", file(size=size + 1)),
        Row("cut-in-header", "structure", "the header is whole", data[:11]),
        Row("digest", "digest", "the digest is that of the payload", file(digest=f.sha256(b""))),
        Row("payload-bit", "digest", "the digest is that of the payload", changed(data, len(data) - 1)),
    ]


def password_rows(good):
    password = good.made.details["password"]
    return [
        Row("marker", "structure", "the first four bytes are 00 00 00 80", f.password_file(password, marker=0)),
        Row("length", "structure", "the length is the password's", f.password_file(password, length=len(password) + 1)),
        Row("long", "structure", "the length is the password's", f.password_file(bytes(257), length=1)),
        Row("bytes", "content", "the password is UTF-8", f.password_file(b"\xFF" * 8)),
        Row("unused", "structure", "bytes 5 to 7 are zero", with_bytes(good.made.data, 5, b"\1")),
        Row("cut", "structure", "the header is whole", good.made.data[:7]),
    ]


# Signatures and personalization data

def signed_rows(good):
    data = good.made.data

    def signed(image=STACK, length=64, key=SIGNING_KEY, **changes):
        return f.signed_image(key, image, length, 3, ONE_TIME, **changes)
    in_range = "r and s are from 1 to n - 1"
    covers = "the signature covers the signed part and the first 16 bytes of the footer"
    return [
        Row("magic", "structure", "the footer starts with VXSG", signed(magic=b"VXSH")),
        Row("algorithm", "structure", "the algorithm is 0", signed(algorithm=1)),
        Row("unused", "structure", "bytes 9 to 11 of the footer are zero", signed(unused=b"\0\0\1")),
        Row("length", "structure", "the signed part ends before the footer", signed(length=len(STACK) + 1)),
        Row("nothing", "structure", "the signed part isn't empty", signed(length=0)),
        Row("cut", "structure", "the footer starts with VXSG", data[:-1]),
        Row("footer-unsigned", "signature", covers, signed(signed=STACK[:64])),
        Row("whole-image-signed", "signature", covers, signed(signed=STACK + data[-80:-64])),
        Row("image-bit", "signature", covers, changed(data, 63)),
        Row("version-bit", "signature", covers, changed(data, len(data) - 76)),
        Row("other-key", "signature", "the signature is by the maker's key", signed(key=fixed_ec_key("other")).data,
            (covers,)),
        Row("zero", "structure", in_range, data[:-64] + bytes(64)),
        Row("order", "structure", in_range, data[:-32] + f.P256_ORDER.to_bytes(32, "big")),
        Row("r-bit", "signature", covers, changed(data, len(data) - 64)),
    ]


def personalization_rows(good):
    data = good.made.data
    return [
        Row("cut-in-tag", "structure", "the tag has 16 bytes", data[:15]),
        Row("cut", "tag", "the tag covers all data", data[:-1]),
        Row("tag-bit", "tag", "the tag covers all data", changed(data, 15)),
        Row("payload-bit", "tag", "the tag covers all data", changed(data, 16)),
    ]


def wireless_rows(good):
    data = good.made.data
    key, binary = fixed_rsa_key(), data[:-256]
    return [
        Row("size", "structure", "the size at offset 24 is that of the binary", f.wireless_binary(key, binary, 101)),
        Row("size-huge", "structure", "the size at offset 24 is that of the binary",
            f.wireless_binary(key, binary, 0xFFFFFFFF)),
        Row("cut", "structure", "the size at offset 24 is that of the binary", data[:-1]),
        Row("body-bit", "signature", "the signature covers the binary", changed(data, 99)),
        Row("signature-bit", "signature", "the signature covers the binary", changed(data, len(data) - 1)),
    ]


ROWS = {"install": install_rows, "install-sizes": sizes_rows, "install-parts": parts_rows,
        "install-side-files": side_files_rows, "install-modules": modules_rows, "install-external": external_rows,
        "update": update_rows, "payload": payload_rows, "provisioning": provisioning_rows, "backup": backup_rows,
        "data-digest": data_rows, "password": password_rows, "signed": signed_rows,
        "personalization": personalization_rows, "wireless": wireless_rows}


def bad_vectors(good):
    """The bad vectors of every good vector that has rows."""
    for base in good:
        for row in ROWS.get(base.id, lambda _: [])(base):
            yield bad_vector(base, row)


def bad_vector(base, row):
    shared = {name: value for name, value in base.made.details.items() if name in SHARED_DETAILS}
    made = row.made if isinstance(row.made, f.Made) else f.Made(row.made)
    made.details = shared | made.details
    suffixes = list(base.files)
    split = 64 if len(suffixes) == 2 else len(made.data)
    files = dict(zip(suffixes, (made.data[:split], made.data[split:])))
    return Vector(f"bad-{base.id}-{row.name}", base.format, row.comment or f"As {base.id}, but for one fault",
                  made, files, base=base.id, result="bad", failure=row.failure, rule=row.rule, also=row.also)
