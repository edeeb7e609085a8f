"""The memory cipher, from docs/formats.md, FIPS 197, FIPS 202 and the Noekeon paper."""
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

from formats import Made, address_text

GROUP = 32
ROTATIONS = [0, 1, 14, 12, 11, 4, 12, 6, 7, 4, 3, 10, 11, 9, 7, 9, 13, 15, 5, 8, 2, 2, 13, 8, 14]
ROUND_CONSTANTS = [0x0001, 0x8082, 0x808A, 0x8000, 0x808B, 0x0001, 0x8081, 0x8009, 0x008A, 0x0088, 0x8009, 0x000A]
AES_CONSTANTS = [0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x1B, 0x36]
NOEKEON_CONSTANTS = [0x80, 0x1B, 0x36, 0x6C, 0xD8, 0xAB, 0x4D, 0x9A, 0x2F, 0x5E, 0xBC, 0x63]


def memory_image(key, start, mode, app):
    made = Made(details={"startAddress": address_text(start), "mode": mode, "groups": []})
    for offset in range(0, len(app) - len(app) % GROUP, GROUP):
        address = (start + offset) & 0xFFFFFFFF
        plain = app[offset:offset + GROUP]
        keys = fast_keys(key, address) if mode == 1 else normal_keys(key, address)
        block = aes_block if mode in (0, 1) else noekeon_block
        cipher = block(keys[:16], plain[:16]) + block(keys[16:], plain[16:])
        made.add(cipher, "group", "payload", "none")
        made.details["groups"].append({"address": address_text(address), "blockKeys": keys, "plaintext": plain,
                                       "ciphertext": cipher})
    made.add(bytes(len(app) % GROUP), "dropped", "unused", "none")
    return made


# Keys of a group

def fast_keys(key, address):
    lanes = start_lanes(key, 0x8000)
    lanes[8], lanes[9] = address & 0xFFFF, address >> 16
    return keys_of(keccak(lanes, range(9)))


def normal_keys(key, address):
    lanes = keccak(start_lanes(key, 0x8001), range(12))
    group = (address >> 5) & 0xFFFFFF
    for shift in range(20, -1, -4):
        nibble = group >> shift & 0xF
        lanes[0] ^= (nibble & 1) | (nibble >> 1 & 1) << 7
        lanes[4] ^= (nibble >> 2 & 1) << 11
        lanes[14] ^= (nibble >> 3 & 1) << 4
        lanes = keccak(lanes, range(3))
    return keys_of(keccak(lanes, range(3, 12)))


def start_lanes(key, mark):
    return [int.from_bytes(key[i:i + 2], "little") for i in range(0, 16, 2)] + [0, 0, mark] + [0] * 14


def keys_of(lanes):
    return b"".join(lane.to_bytes(2, "little") for lane in lanes[:16])


def rotated16(lane, count):
    return (lane << count | lane >> (16 - count)) & 0xFFFF


def keccak(lanes, rounds):
    """Applies the given rounds of Keccak-f[400]. Lane (x, y) has the index x + 5y."""
    for index in rounds:
        columns = [lanes[x] ^ lanes[x + 5] ^ lanes[x + 10] ^ lanes[x + 15] ^ lanes[x + 20] for x in range(5)]
        mixed = [lane ^ columns[(i + 4) % 5] ^ rotated16(columns[(i + 1) % 5], 1) for i, lane in enumerate(lanes)]
        moved = [0] * 25
        for x in range(5):
            for y in range(5):
                moved[y + 5 * ((2 * x + 3 * y) % 5)] = rotated16(mixed[x + 5 * y], ROTATIONS[x + 5 * y])
        lanes = [moved[i] ^ (~moved[i - i % 5 + (i + 1) % 5] & moved[i - i % 5 + (i + 2) % 5]) for i in range(25)]
        lanes[0] ^= ROUND_CONSTANTS[index]
    return lanes


# Block ciphers: the bytes of key, block and result are in reverse order

def aes_block(block_key, plain):
    encryptor = Cipher(algorithms.AES(first_round_key(block_key[::-1])), modes.ECB()).encryptor()
    return encryptor.update(plain[::-1])[::-1]


def first_round_key(last):
    """Reverses the key expansion of AES-128, from the last round key to the cipher key."""
    w = [last[i:i + 4] for i in range(0, 16, 4)]
    for constant in reversed(AES_CONSTANTS):
        for i in (3, 2, 1):
            w[i] = xored(w[i], w[i - 1])
        turned = bytes(S_BOX[byte] for byte in w[3][1:] + w[3][:1])
        w[0] = xored(xored(w[0], turned), bytes([constant, 0, 0, 0]))
    return b"".join(w)


def xored(a, b):
    return bytes(x ^ y for x, y in zip(a, b))


def s_box():
    """Builds the S-box of FIPS 197. Each nonzero byte is a power of 3 in GF(2^8), so its inverse is one, too."""
    box = [0x63] * 256
    powers = [1]
    for _ in range(254):
        double = powers[-1] << 1 ^ (0x11B if powers[-1] & 0x80 else 0)
        powers.append(powers[-1] ^ double)
    for exponent, value in enumerate(powers):
        box[value] = affine(powers[-exponent % 255])
    return box


def affine(byte):
    result = 0x63
    for count in range(5):
        result ^= (byte << count | byte >> (8 - count)) & 0xFF
    return result


S_BOX = s_box()


def noekeon_block(block_key, plain):
    key, a = words_of(block_key[::-1]), words_of(plain[::-1])
    for constant in NOEKEON_CONSTANTS:
        a[0] ^= constant
        theta(key, a)
        turn(a, 1)
        gamma(a)
        turn(a, -1)
    return b"".join(word.to_bytes(4, "big") for word in a)[::-1]


def words_of(data):
    return [int.from_bytes(data[i:i + 4], "big") for i in range(0, 16, 4)]


def rotated32(word, count):
    count %= 32
    return (word << count | word >> (32 - count)) & 0xFFFFFFFF


def theta(key, a):
    even = a[0] ^ a[2]
    even ^= rotated32(even, 8) ^ rotated32(even, -8)
    a[1] ^= even
    a[3] ^= even
    for i in range(4):
        a[i] ^= key[i]
    odd = a[1] ^ a[3]
    odd ^= rotated32(odd, 8) ^ rotated32(odd, -8)
    a[0] ^= odd
    a[2] ^= odd


def turn(a, direction):
    for i, count in ((1, 1), (2, 5), (3, 2)):
        a[i] = rotated32(a[i], direction * count)


def gamma(a):
    a[1] ^= ~a[3] & ~a[2] & 0xFFFFFFFF
    a[0] ^= a[2] & a[1]
    a[0], a[3] = a[3], a[0]
    a[2] ^= a[0] ^ a[1] ^ a[3]
    a[1] ^= ~a[3] & ~a[2] & 0xFFFFFFFF
    a[0] ^= a[2] & a[1]
