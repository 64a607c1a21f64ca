#!/usr/bin/python3
"""Reads GNOME Shell's top bar from a root window dump (xwd -root) for the shell tests.

  top_bar.py marker DUMP                 the first (leftmost) magenta box the test helper paints
                                         behind a face: "X Y WIDTH HEIGHT LIGHT DARK" (LIGHT and
                                         DARK count the face's ink pixels inside it), or "none"
  top_bar.py markers DUMP                every face's box, left to right, one line each
  top_bar.py hovered DUMP XMIN           the hovered button's highlight in the bar's middle row,
                                         right of XMIN: "X WIDTH", or "none"
  top_bar.py item DUMP                   the right end of the tray item's label, the second run
                                         of light ink from the bar's right end (the first is
                                         the system menu's icon), or nothing
  top_bar.py ink DUMP X Y W H            "LIGHT DARK": light and mid-dark ink pixels of the
                                         rectangle on the black bar
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "menubar"))
from xwd_tool import read_xwd  # noqa: E402

BAR_ROWS = 40
MAGENTA = (255, 0, 255)


def markers(rows):
    """The magenta boxes, left to right: runs of columns holding magenta, split by the bar's
    own pixels between two buttons."""
    bar = rows[:BAR_ROWS]
    columns = [x for x in range(len(bar[0])) if any(row[x] == MAGENTA for row in bar)]
    runs = []
    for x in columns:
        if runs and x == runs[-1][1] + 1:
            runs[-1][1] = x
        else:
            runs.append([x, x])
    boxes = []
    for x0, x1 in runs:
        ys = [y for y, row in enumerate(bar) if MAGENTA in row[x0:x1 + 1]]
        y0, y1 = min(ys), max(ys)
        light = dark = 0
        for row in rows[y0:y1 + 1]:
            for r, g, b in row[x0:x1 + 1]:
                # A face drawn over magenta: light ink lifts green, dark ink lowers red and blue.
                if g >= 170 and r >= 170 and b >= 170:
                    light += 1
                elif r < 110 and b < 110:
                    dark += 1
        boxes.append(f"{x0} {y0} {x1 - x0 + 1} {y1 - y0 + 1} {light} {dark}")
    return boxes


def bar_height(rows):
    # The bar is black; the first row below it that is not.
    for y, row in enumerate(rows[:BAR_ROWS * 2]):
        if sum(1 for px in row if px == (0, 0, 0)) < len(row) // 2:
            return y
    return BAR_ROWS


def hovered(rows, xmin):
    y = bar_height(rows) // 2
    row = rows[y]
    # The highlight is a grey run; ink inside it breaks no run because it is not black.
    best, start = (0, 0), None
    for x in range(xmin, len(row) + 1):
        lit = x < len(row) and row[x] != (0, 0, 0) and max(row[x]) - min(row[x]) < 16
        if lit and start is None:
            start = x
        elif not lit and start is not None:
            if x - start > best[1]:
                best = (start, x - start)
            start = None
    return f"{best[0]} {best[1]}" if best[1] >= 20 else "none"


def item_right(rows):
    width = len(rows[0])
    cols = [x for x in range(width // 2 + 100, width) if any(min(rows[y][x]) >= 170 for y in range(4, 28))]
    groups = []  # runs of columns less than 7 px apart, from the right
    for x in reversed(cols):
        if groups and groups[-1][0] - x <= 6:
            groups[-1][0] = x
        else:
            groups.append([x, x])
    return groups[1][1] if len(groups) > 1 else ""


def ink(rows, x, y, w, h):
    light = dark = 0
    for row in rows[y:y + h]:
        for px in row[x:x + w]:
            if min(px) >= 170:
                light += 1
            elif 0 < max(px) < 110:
                dark += 1
    return f"{light} {dark}"


def main():
    cmd, dump = sys.argv[1], sys.argv[2]
    _w, _h, rows = read_xwd(dump)
    if cmd == "marker":
        print((markers(rows) or ["none"])[0])
    elif cmd == "markers":
        print("\n".join(markers(rows)))
    elif cmd == "hovered":
        print(hovered(rows, int(sys.argv[3])))
    elif cmd == "item":
        print(item_right(rows))
    elif cmd == "ink":
        print(ink(rows, *(int(v) for v in sys.argv[3:7])))
    else:
        raise SystemExit(__doc__)


if __name__ == "__main__":
    main()
