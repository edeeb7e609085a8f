#!/usr/bin/env python3
"""inspect.py LIBRARY ARGUMENT...: makes one call of qvora-inspect through its library, and prints the verdict of each file
and the parts of the last one that it proved. It needs nothing but Python's ctypes.

  inspect.py libqvora-inspect.so.2 verify --key key.bin blink.tbi
"""
import ctypes
import json
import sys


class Library:
    """The functions of qvora_inspect.h."""

    def __init__(self, path):
        functions = ctypes.CDLL(path)
        result = ctypes.c_void_p
        size = ctypes.POINTER(ctypes.c_size_t)
        for name, returned, arguments in (
                ("run", result, [ctypes.POINTER(ctypes.c_char_p), ctypes.c_size_t, ctypes.c_int]),
                ("status", ctypes.c_int, [result]),
                ("report", ctypes.c_char_p, [result, size]),
                ("content_count", ctypes.c_size_t, [result]),
                ("content", ctypes.c_void_p, [result, ctypes.c_size_t, size, ctypes.POINTER(ctypes.c_int),
                                              ctypes.POINTER(ctypes.c_uint64)]),
                ("free", None, [result])):
            function = getattr(functions, "qvora_inspect_" + name)
            function.restype = returned
            function.argtypes = arguments
            setattr(self, name, function)

    def inspect(self, *arguments):
        """Returns the status, the report, and the contents as a list of part, address and bytes."""
        words = [argument.encode() for argument in arguments]
        result = self.run((ctypes.c_char_p * len(words))(*words), len(words), 1)
        try:
            report = json.loads(self.report(result, None))
            return self.status(result), report, [self.one_content(result, i) for i in range(self.content_count(result))]
        finally:
            self.free(result)

    def one_content(self, result, index):
        size, part, address = ctypes.c_size_t(), ctypes.c_int(), ctypes.c_uint64()
        start = self.content(result, index, ctypes.byref(size), ctypes.byref(part), ctypes.byref(address))
        return part.value, address.value, ctypes.string_at(start, size.value)


def main():
    status, report, contents = Library(sys.argv[1]).inspect(*sys.argv[2:])
    for failure in report["failures"]:
        print(f"{failure.get('file', 'call')}: {failure['text']}")
    for file in report["files"]:
        print(f"{file['file']}: {file.get('verdict', 'shown')}")
    for part, address, data in contents:
        print(f"part {part} at 0x{address:08X}: {len(data)} bytes")
    return status


sys.exit(main())
