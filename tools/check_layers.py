#!/usr/bin/env python3
"""Checks that the includes under src/ follow the one-way arrows between the
subsystems, that lcms2.h stays inside the colour engine, and that Qt Widgets
stays in the application and the colour widgets.

    tools/check_layers.py [SRC]      prints each offending include; exit 1 if any

A subsystem's tests may include what the subsystem may, the subsystem itself
and the shared test support (src/tests).
"""
import os
import re
import sys

# What each subsystem may include besides itself.
ALLOWED = {
    "platform": set(),
    "strings": set(),
    "image": {"platform"},
    "color": {"image", "platform", "strings"},
    "draw": {"color", "image", "platform"},
    "library": {"platform", "strings"},
    "app": {"library", "draw", "color", "image", "platform", "strings"},
    "cli": {"library", "draw", "color", "image", "platform", "strings"},
    "fuzz": {"color", "image", "library", "platform", "strings", "tests"},
    "tests": {"platform"},
}
# Where Qt Widgets may be used (folders below src/).
WIDGET_FOLDERS = ("app", "color/widgets", "tests")
# Where lcms2.h may be included: the colour engine.
ENGINE = ("color/engine/",)
# Inside it, the one internal header that includes it for the others.
ENGINE_HEADER = "color/engine/lcms.h"

OUR_INCLUDE = re.compile(r'^\s*#\s*include\s+"([a-z_]+)/')
SYSTEM_INCLUDE = re.compile(r'^\s*#\s*include\s+<([^>]+)>')


def widget_headers():
    names = {"QtWidgets"}
    for base in ("/usr/include/x86_64-linux-gnu/qt6/QtWidgets", "/usr/include/qt6/QtWidgets"):
        if os.path.isdir(base):
            names.update(n for n in os.listdir(base) if not n.endswith(".h"))
    names.discard("QtWidgetsDepends")
    return names


def check(src):
    widgets = widget_headers()
    faults = []
    for folder, _, files in os.walk(src):
        rel = os.path.relpath(folder, src).replace(os.sep, "/")
        subsystem = rel.split("/")[0]
        if subsystem not in ALLOWED:
            continue
        allowed = ALLOWED[subsystem] | {subsystem}
        if "/tests" in "/" + rel:
            allowed |= {"tests"}
        for name in files:
            if not name.endswith((".cpp", ".h")):
                continue
            path = f"{rel}/{name}"
            with open(os.path.join(folder, name), encoding="utf-8", errors="surrogateescape") as fh:
                for number, line in enumerate(fh, 1):
                    ours = OUR_INCLUDE.match(line)
                    if ours and ours.group(1) in ALLOWED and ours.group(1) not in allowed:
                        faults.append(f"src/{path}:{number}: {subsystem} may not include {ours.group(1)}/")
                    system = SYSTEM_INCLUDE.match(line)
                    if not system:
                        continue
                    header = system.group(1)
                    if header == "lcms2.h" and not path.startswith(ENGINE):
                        faults.append(f"src/{path}:{number}: lcms2.h outside the colour engine")
                    elif header == "lcms2.h" and path != ENGINE_HEADER:
                        faults.append(f"src/{path}:{number}: lcms2.h included past {ENGINE_HEADER}")
                    top = header.split("/")[0]
                    if (top in widgets or header in widgets) and not (
                        rel == "tests" or any(rel == w or rel.startswith(w + "/") for w in WIDGET_FOLDERS)
                    ):
                        faults.append(f"src/{path}:{number}: Qt Widgets ({header}) outside the application")
    return faults


def main():
    src = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "src")
    faults = check(src)
    for fault in faults:
        print(fault)
    print(f"{len(faults)} include(s) against the layering")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
