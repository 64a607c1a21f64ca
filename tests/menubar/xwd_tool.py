#!/usr/bin/python3
"""Reads X window dumps (xwd -root) for the tray screenshot test.

  xwd_tool.py diff BEFORE AFTER ROWS     prints how many pixels of the top ROWS rows differ
  xwd_tool.py png DUMP OUT.png ROWS      writes the top ROWS rows as a PNG (to look at)
  xwd_tool.py crop DUMP OUT.png X Y W H  writes that rectangle as a PNG
  xwd_tool.py colours DUMP X Y W H       prints how many distinct colours the rectangle has
  xwd_tool.py box DUMP RRGGBB ROWS       prints "x y w h" around the pixels of that colour in
                                         the top ROWS rows (nothing when there are none)
  xwd_tool.py count DUMP X Y W H RRGGBB TOL
                                         prints how many pixels of the rectangle are within TOL
                                         (per channel) of that colour
  xwd_tool.py span DUMP X Y W H RRGGBB TOL  the same count, then the least and greatest x of
                                         those pixels (0 0 when there are none)
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
    elif cmd == "box":
        _w, h, rows = read_xwd(sys.argv[2])
        colour = rgb(sys.argv[3])
        hits = [(x, y) for y, row in enumerate(rows[:min(int(sys.argv[4]), h)])
                for x, px in enumerate(row) if px == colour]
        if hits:
            xs, ys = [p[0] for p in hits], [p[1] for p in hits]
            print(min(xs), min(ys), max(xs) - min(xs) + 1, max(ys) - min(ys) + 1)
    elif cmd in ("count", "span"):
        _w, _h, rows = read_xwd(sys.argv[2])
        x, y, cw, ch = (int(v) for v in sys.argv[3:7])
        colour, tol = rgb(sys.argv[7]), int(sys.argv[8])
        xs = [x + dx for row in rows[y:y + ch] for dx, px in enumerate(row[x:x + cw])
              if all(abs(a - b) <= tol for a, b in zip(px, colour))]
        print(len(xs) if cmd == "count" else f"{len(xs)} {min(xs, default=0)} {max(xs, default=0)}")


def rgb(text):
    value = int(text.lstrip("#"), 16)
    return ((value >> 16) & 255, (value >> 8) & 255, value & 255)


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
