#!/usr/bin/python3
"""Reads X window dumps (xwd -root) for the tray screenshot test.

  xwd_tool.py diff BEFORE AFTER ROWS     prints how many pixels of the top ROWS rows differ
  xwd_tool.py png DUMP OUT.png ROWS      writes the top ROWS rows as a PNG (to look at)
"""
import struct
import sys
import zlib


def read_xwd(path):
    data = open(path, "rb").read()
    header = struct.unpack(">25I", data[:100])
    header_size, _version, _fmt, depth, width, height = header[:6]
    byte_order = header[7]
    bits_per_pixel = header[11]
    bytes_per_line = header[12]
    ncolors = header[19]
    offset = header_size + ncolors * 12
    if bits_per_pixel not in (24, 32):
        raise SystemExit(f"unsupported xwd: {bits_per_pixel} bits per pixel, depth {depth}")
    step = bits_per_pixel // 8
    pixels = data[offset:]
    rows = []
    for y in range(height):
        line = pixels[y * bytes_per_line:y * bytes_per_line + width * step]
        row = []
        for x in range(width):
            px = line[x * step:x * step + step]
            value = int.from_bytes(px, "little" if byte_order == 0 else "big")
            row.append(((value >> 16) & 255, (value >> 8) & 255, value & 255))
        rows.append(row)
    return width, height, rows


def main():
    cmd = sys.argv[1]
    if cmd == "diff":
        w1, h1, a = read_xwd(sys.argv[2])
        w2, h2, b = read_xwd(sys.argv[3])
        rows = min(int(sys.argv[4]), h1, h2)
        changed = sum(1 for y in range(rows) for x in range(min(w1, w2)) if a[y][x] != b[y][x])
        print(changed)
    elif cmd == "png":
        w, h, rows = read_xwd(sys.argv[2])
        n = min(int(sys.argv[4]), h)
        raw = b"".join(b"\x00" + bytes(c for px in rows[y] for c in px) for y in range(n))
        def chunk(kind, body):
            return (struct.pack(">I", len(body)) + kind + body +
                    struct.pack(">I", zlib.crc32(kind + body) & 0xffffffff))
        png = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, n, 8, 2, 0, 0, 0)) +
               chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))
        open(sys.argv[3], "wb").write(png)


if __name__ == "__main__":
    main()
