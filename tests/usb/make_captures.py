#!/usr/bin/env python3
"""Writes the usbmon captures that the umockdev tests replay: the product
string of each faked instrument and, for the first, the transfers the test
makes (64 bytes going out as 65, 808 as 808, "pI" and its answer)."""
import struct
import sys
from pathlib import Path


def rec(urb_id, typ, xfer, ep, dev, setup, data, length):
    flag_setup = 0 if setup is not None else ord('-')
    flag_data = 0 if data else ord('<') if (ep & 0x80) and typ == 'S' else ord('>') if typ == 'C' else ord('=')
    hdr = struct.pack('<QBBBBHbbqiiII8siiII', urb_id, ord(typ), xfer, ep, dev, 1,
                      flag_setup, flag_data, 0, 0, 0, length, len(data),
                      setup if setup is not None else b'\0' * 8, 0, 0, 0, 0)
    return hdr + data


def write(path, records):
    with open(path, 'wb') as out:
        out.write(struct.pack('<IHHiIII', 0xa1b2c3d4, 2, 4, 0, 0, 65535, 220))
        for i, r in enumerate(records):
            out.write(struct.pack('<IIII', 1000, 100 * i, len(r), len(r)))
            out.write(r)


def string_descriptor(urb, dev, name):
    desc = bytes([2 + 2 * len(name), 3]) + b''.join(bytes([ord(c), 0]) for c in name)
    setup = bytes([0x80, 6, 2, 3, 0x09, 0x04]) + struct.pack('<H', 260)
    return [rec(urb, 'S', 2, 0x80, dev, setup, b'', 260),
            rec(urb, 'C', 2, 0x80, dev, None, desc, len(desc))]


def main(out_dir):
    out = Path(out_dir)
    tx = bytes(i & 0xFF for i in range(808))
    memory = struct.pack('<IIII', 1, 1024, 256, 128) + bytes([1]) + struct.pack('<I', 2048)
    records = string_descriptor(1, 2, 'PV-SIM 6410')
    records += [rec(2, 'S', 3, 0x06, 2, None, tx[:64] + bytes([64]), 65),
                rec(2, 'C', 3, 0x06, 2, None, b'', 65),
                rec(3, 'S', 3, 0x06, 2, None, tx, 808),
                rec(3, 'C', 3, 0x06, 2, None, b'', 808),
                rec(4, 'S', 2, 0x00, 2, bytes([0x40, 1, 0, 0, 0, 0, 2, 0]), b'pI', 2),
                rec(4, 'C', 2, 0x00, 2, None, b'', 2),
                rec(5, 'S', 3, 0x85, 2, None, b'', 2500),
                rec(5, 'C', 3, 0x85, 2, None, memory, len(memory))]
    write(out / 'one.pcap', records)
    write(out / 'two-a.pcap', string_descriptor(1, 2, 'PV-SIM A'))
    write(out / 'two-b.pcap', string_descriptor(1, 3, 'PV-SIM B'))


if __name__ == '__main__':
    main(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).parent)
