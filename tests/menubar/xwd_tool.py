#!/usr/bin/python3
"""Reads X window dumps (xwd -root) for the tray screenshot test.

  xwd_tool.py diff BEFORE AFTER ROWS     prints how many pixels of the top ROWS rows differ
  xwd_tool.py png DUMP OUT.png ROWS      writes the top ROWS rows as a PNG (to look at)
  xwd_tool.py crop DUMP OUT.png X Y W H  writes that rectangle as a PNG
  xwd_tool.py colours DUMP X Y W H       prints how many distinct colours the rectangle has
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
        write_png(sys.argv[3], [row for row in rows[:min(int(sys.argv[4]), h)]])
    elif cmd == "crop":
        _w, _h, rows = read_xwd(sys.argv[2])
        x, y, cw, ch = (int(v) for v in sys.argv[4:8])
        write_png(sys.argv[3], [row[x:x + cw] for row in rows[y:y + ch]])
    elif cmd == "colours":
        _w, _h, rows = read_xwd(sys.argv[2])
        x, y, cw, ch = (int(v) for v in sys.argv[3:7])
        print(len({px for row in rows[y:y + ch] for px in row[x:x + cw]}))


def write_png(path, rows):
    height, width = len(rows), len(rows[0]) if rows else 0
    raw = b"".join(b"\x00" + bytes(c for px in row for c in px) for row in rows)

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body +
                struct.pack(">I", zlib.crc32(kind + body) & 0xffffffff))
    png = (b"\x89PNG\r\n\x1a\n" +
           chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
           chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))
    open(path, "wb").write(png)


if __name__ == "__main__":
    main()
