#!/usr/bin/python3
"""Pixel checks of the Plasma tray screenshots (xwd dumps of the root window).

  plasma_tray_check.py item BEFORE AFTER   the item's box in the tray strip (left of the
                                           viewer's toolbar) must carry light ink; prints
                                           its centre x y and width height
  plasma_tray_check.py menu AFTER MENU     a right click must open a popup tall enough for
                                           four entries and a separator; prints its box
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "menubar"))
from xwd_tool import read_xwd  # noqa: E402


def changed_box(a, b, x0, y0, x1, y1):
    xs, ys = [], []
    for y in range(y0, y1):
        for x in range(x0, x1):
            if a[y][x] != b[y][x]:
                xs.append(x)
                ys.append(y)
    if not xs:
        return None, 0
    return (min(xs), min(ys), max(xs) + 1, max(ys) + 1), len(xs)


def main():
    cmd, first, second = sys.argv[1:4]
    w, h, a = read_xwd(first)
    _, _, b = read_xwd(second)
    if cmd == "item":
        # The tray draws from the left; the viewer's toolbar starts near x = 190.
        box, count = changed_box(a, b, 0, 0, 185, 48)
        if not box or count < 30:
            print("no item in the tray (%d pixels changed)" % count)
            return 1
        x0, y0, x1, y1 = box
        light = sum(1 for y in range(y0, y1) for x in range(x0, x1)
                    if a[y][x] != b[y][x] and sum(b[y][x]) / 3 > 150)
        print((x0 + x1) // 2, (y0 + y1) // 2, x1 - x0, y1 - y0, "light pixels:", light)
        if light < 20:
            print("the item's ink is not light on the dark panel")
            return 1
        return 0
    box, count = changed_box(a, b, 0, 0, w, min(h, 500))
    print("changed box", box, "pixels", count)
    if not box or box[3] - box[1] < 90 or box[2] - box[0] < 60:
        print("no popup menu of four entries opened")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
