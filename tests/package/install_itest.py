"""`cmake --install` into a temporary DESTDIR: the tree a package or `make install` gets.
The binary runs from there, the desktop entry and the AppStream metadata pass their
validators (when installed), the icons are there at every size, and nothing points back into
the build tree."""
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from itest_support import Checks, binary, environment  # noqa

ICON = "com.quillfern.Lumenstat"
SIZES = [16, 22, 24, 32, 48, 64, 128, 256]

build = os.path.dirname(binary())
cache = {}
with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as f:
    for line in f:
        m = re.match(r"([A-Za-z_]+):[A-Z]+=(.*)", line)
        if m:
            cache[m.group(1)] = m.group(2)
prefix = cache["CMAKE_INSTALL_PREFIX"]
version = cache["CMAKE_PROJECT_VERSION"]

checks = Checks()
dest = tempfile.mkdtemp(prefix="lumenstat-destdir-")
try:
    r = subprocess.run(["cmake", "--install", build], env=dict(os.environ, DESTDIR=dest),
                       capture_output=True, text=True, timeout=120)
    if not checks.expect(r.returncode == 0, "cmake --install: " + r.stderr[-800:]):
        checks.finish()
    root = dest + prefix
    share = os.path.join(root, "share")
    installed = []
    for top, _, files in os.walk(dest):
        installed += [os.path.join(top, name) for name in files]
    checks.expect(all(p.startswith(root + "/") for p in installed),
                  "everything below DESTDIR/PREFIX")

    # The binary runs from its installed place, without the build tree's run path.
    app = os.path.join(root, "bin", "lumenstat")
    checks.expect(os.access(app, os.X_OK), "bin/lumenstat is executable")
    _, env = environment()
    r = subprocess.run([app, "--monitor", "--ticks", "1"], env=env, capture_output=True,
                       text=True, timeout=60)
    checks.expect(r.returncode == 0 and len(r.stdout.splitlines()) == 1,
                  "installed binary runs --monitor --ticks 1: rc %d %r" % (r.returncode, r.stderr[-400:]))
    if shutil.which("readelf"):
        dynamic = subprocess.run(["readelf", "-d", app], capture_output=True, text=True).stdout
        checks.expect(build not in dynamic and os.path.dirname(build) not in dynamic,
                      "no build-tree run path")
    built_tools = [os.path.join(top, "lumenstat-nettop") for top, _, files in os.walk(build)
                   if "lumenstat-nettop" in files]
    if built_tools:
        libexec = cache.get("CMAKE_INSTALL_LIBEXECDIR", "libexec")
        checks.expect(os.access(os.path.join(root, libexec, "lumenstat", "lumenstat-nettop"), os.X_OK),
                      "the traffic tool is in " + libexec + "/lumenstat")

    # Desktop entry.
    desktop = os.path.join(share, "applications", ICON + ".desktop")
    keys = {}
    if checks.expect(os.path.isfile(desktop), "desktop entry installed"):
        with open(desktop, encoding="utf-8") as f:
            keys = dict(l.rstrip("\n").split("=", 1) for l in f if "=" in l)
        checks.expect(keys.get("Exec") == "lumenstat" and keys.get("Icon") == ICON,
                      "Exec and Icon name what is installed")
        checks.expect(all("%s[%s]" % (k, lang) in keys for k in ("Name", "Comment")
                          for lang in ("de", "ja", "zh_CN", "zh_TW")), "translated Name, Comment")
        if shutil.which("desktop-file-validate"):
            r = subprocess.run(["desktop-file-validate", desktop], capture_output=True, text=True)
            checks.expect(r.returncode == 0 and "error" not in r.stdout,
                          "desktop-file-validate: " + r.stdout + r.stderr)
        else:
            print("note: desktop-file-validate is not installed (desktop-file-utils)")

    # AppStream metadata.
    metainfo = os.path.join(share, "metainfo", ICON + ".metainfo.xml")
    if checks.expect(os.path.isfile(metainfo), "metainfo installed"):
        component = ET.parse(metainfo).getroot()
        checks.expect(component.findtext("launchable") == ICON + ".desktop",
                      "launchable names the desktop entry")
        releases = [e.get("version") for e in component.iter("release")]
        checks.expect(releases[:1] == [version],
                      "newest release %r is the project's version %s" % (releases[:1], version))
        if shutil.which("appstreamcli"):
            r = subprocess.run(["appstreamcli", "validate", "--no-net", metainfo],
                               capture_output=True, text=True)
            checks.expect(r.returncode == 0, "appstreamcli validate: " + r.stdout + r.stderr)
        else:
            print("note: appstreamcli is not installed (appstream)")

    # Icons: the SVG and a PNG of each size, each really that size.
    hicolor = os.path.join(share, "icons", "hicolor")
    checks.expect(os.path.isfile(os.path.join(hicolor, "scalable", "status",
                                              "lumenstat-symbolic.svg")),
                  "the tray item's symbolic icon")
    svg = os.path.join(hicolor, "scalable", "apps", ICON + ".svg")
    if checks.expect(os.path.isfile(svg), "scalable icon"):
        checks.expect(ET.parse(svg).getroot().get("viewBox") == "0 0 64 64", "SVG parses")
    for size in SIZES:
        png = os.path.join(hicolor, "%dx%d" % (size, size), "apps", ICON + ".png")
        if checks.expect(os.path.isfile(png), "icon %dx%d" % (size, size)):
            with open(png, "rb") as f:
                head = f.read(24)
            checks.expect(head[:8] == b"\x89PNG\r\n\x1a\n" and
                          struct.unpack(">II", head[16:24]) == (size, size),
                          "icon %d is a %d px PNG" % (size, size))

    # Text files carry no path of the build machine.
    for path in installed:
        if path.endswith((".desktop", ".xml", ".svg", ".txt", ".json", ".qml", ".js")):
            with open(path, encoding="utf-8", errors="replace") as f:
                checks.expect(build not in f.read(), path + " names the build tree")
finally:
    shutil.rmtree(dest, True)
checks.finish()
