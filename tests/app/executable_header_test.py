#!/usr/bin/env python3
"""The shipped executable's header: what Windows decides by it before the program's first instruction."""

import os
import pathlib
import struct
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = pathlib.Path(os.environ.get("ORV_PROGRAM", ROOT / "build/release/ORVCleanupUtility.exe"))

MACHINE_AMD64 = 0x8664
RELOCATIONS_STRIPPED = 0x0001
LARGE_ADDRESS_AWARE = 0x0020
PE32_PLUS = 0x020B
SUBSYSTEM_GUI = 2
HIGH_ENTROPY_VA = 0x0020
DYNAMIC_BASE = 0x0040
NX_COMPATIBLE = 0x0100
TERMINAL_SERVER_AWARE = 0x8000
MEBIBYTE = 1 << 20


class ExecutableHeader(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        image = PROGRAM.read_bytes()
        pe = struct.unpack_from("<I", image, 0x3C)[0]
        cls.signature = image[pe : pe + 4]
        cls.machine = struct.unpack_from("<H", image, pe + 4)[0]
        cls.characteristics = struct.unpack_from("<H", image, pe + 22)[0]
        optional = pe + 24
        cls.magic = struct.unpack_from("<H", image, optional)[0]
        cls.subsystem, cls.dll_characteristics = struct.unpack_from("<HH", image, optional + 68)
        (cls.stack_reserve,) = struct.unpack_from("<Q", image, optional + 72)

    def test_is_a_64_bit_windows_program(self):
        self.assertEqual(self.signature, b"PE\0\0")
        self.assertEqual(self.machine, MACHINE_AMD64)
        self.assertEqual(self.magic, PE32_PLUS)
        self.assertEqual(self.subsystem, SUBSYSTEM_GUI)

    def test_is_aware_of_terminal_servers(self):
        self.assertTrue(self.dll_characteristics & TERMINAL_SERVER_AWARE)

    def test_lies_at_random_addresses(self):
        self.assertTrue(self.dll_characteristics & DYNAMIC_BASE)
        self.assertTrue(self.dll_characteristics & HIGH_ENTROPY_VA)
        self.assertTrue(self.characteristics & LARGE_ADDRESS_AWARE)
        self.assertFalse(self.characteristics & RELOCATIONS_STRIPPED)

    # The matcher of regular expressions takes stack for each character of a name.
    def test_reserves_room_for_the_longest_names(self):
        self.assertGreaterEqual(self.stack_reserve, 16 * MEBIBYTE)

    def test_executes_no_data(self):
        self.assertTrue(self.dll_characteristics & NX_COMPATIBLE)


if __name__ == "__main__":
    unittest.main()
