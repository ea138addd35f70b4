#!/usr/bin/env python3
"""Builds the Debian package from a build tree and checks it with Debian's
own tools: every file a user expects is in it (and every resource the
programs look up, read from their sources), no resource comes from a file
git does not know, lintian finds no error, the man pages render, and the
desktop entry and AppStream file validate. Exit status 0 when all holds.

  check_package.py --build BUILD_DIR --source SOURCE_DIR [--deb FILE]
"""
import argparse
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

APPSTREAM_ID = "org.example.slidebox"
ICON_SIZES = (16, 32, 48, 64, 128, 256)
# Folders of the source tree whose files go into the package.
RESOURCE_FOLDERS = ("resources", "src/app/desktop", "src/app/translations", "packaging")
# Run-time dependencies that are for building or testing only.
NOT_AT_RUN_TIME = re.compile(r"-dev\b|gtest|gmock|benchmark|lintian|help2man|cmake|ninja|ccache")


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, **options)


def expected_files():
    files = {
        "/usr/bin/slidebox",
        "/usr/bin/slidebox-cli",
        "/usr/libexec/slidebox-cli-commands",
        "/usr/libexec/slidebox-cli-transform",
        "/usr/libexec/slidebox-cli-compare",
        "/usr/libexec/slidebox-cli-words.so",
        "/usr/share/applications/slidebox.desktop",
        f"/usr/share/metainfo/{APPSTREAM_ID}.metainfo.xml",
        "/usr/share/icons/hicolor/scalable/apps/slidebox.svg",
        "/usr/share/man/man1/slidebox.1.gz",
        "/usr/share/man/man1/slidebox-cli.1.gz",
        "/usr/share/bash-completion/completions/slidebox-cli",
        "/usr/share/doc/slidebox/copyright",
        "/usr/share/doc/slidebox/changelog.gz",
    }
    files |= {f"/usr/share/icons/hicolor/{n}x{n}/apps/slidebox.png" for n in ICON_SIZES}
    return files


def looked_up_resources(source):
    """The files of share/slidebox the programs ask for, read from their sources."""
    names = set()
    for path in glob.glob(os.path.join(source, "src", "**", "*.cpp"), recursive=True):
        if "/tests/" in path or "/tools/" in path:
            continue
        text = open(path, encoding="utf-8", errors="replace").read()
        names |= set(re.findall(r'resourcePath\("([^"]+)"\)', text))
        names |= {n + ".applescript" for n in re.findall(r'ScriptName\s*=\s*"([^"]+)"', text)}
    # The generic profiles, made at build time, by the names the toolkit asks for.
    names_header = os.path.join(source, "src", "color", "generic_profile_names.h")
    if os.path.exists(names_header):
        text = open(names_header, encoding="utf-8").read()
        names |= {"icc/" + n for n in re.findall(r'\{cm\w+Data, "([^"]+\.icc)"\}', text)}
    for ts in glob.glob(os.path.join(source, "src", "app", "translations", "*.ts")):
        names.add("translations/" + os.path.basename(ts)[:-3] + ".qm")
    return {"/usr/share/slidebox/" + n for n in names}


def contents(deb):
    listing = run("dpkg-deb", "--contents", deb)
    if listing.returncode != 0:
        return None
    return {line.split(None, 5)[5].split(" -> ")[0].lstrip(".")
            for line in listing.stdout.splitlines() if line.strip()}


def missing_files(deb, wanted):
    files = contents(deb)
    if files is None:
        return ["the package can't be read"]
    return sorted(wanted - files)


def untracked_resources(source):
    """Files of the resource folders that a fresh clone would not have."""
    if run("git", "-C", source, "rev-parse", "--git-dir").returncode != 0:
        return []
    out = run("git", "-C", source, "ls-files", "--others", "--exclude-standard", "--",
              *RESOURCE_FOLDERS).stdout
    return out.split()


def build_package(build, out):
    build = os.path.abspath(build)
    result = run("cpack", "-G", "DEB", "--config", os.path.join(build, "CPackConfig.cmake"),
                 "-B", out, cwd=build)
    debs = glob.glob(os.path.join(out, "slidebox_*.deb"))
    if result.returncode != 0 or len(debs) != 1:
        print(result.stdout + result.stderr)
        return None
    return debs[0]


def check_release_notes(deb, root):
    """The change log and the AppStream releases both begin with this version."""
    version = run("dpkg-deb", "-f", deb, "Version").stdout.strip()
    changelog = run("zcat", os.path.join(root, "usr/share/doc/slidebox/changelog.gz")).stdout
    metainfo = open(os.path.join(root, f"usr/share/metainfo/{APPSTREAM_ID}.metainfo.xml")).read()
    problems = []
    if not changelog.startswith(f"slidebox ({version})"):
        problems.append(f"packaging/changelog does not begin with version {version}")
    if re.search(r'<release version="([^"]+)"', metainfo).group(1) != version:
        problems.append(f"the AppStream file's latest release is not {version}")
    return problems


def check_tools(deb, root):
    problems = []
    lint = run("lintian", "--fail-on", "error", "--tag-display-limit", "0", deb)
    print("lintian:\n" + (lint.stdout + lint.stderr).strip() or "lintian: nothing to report")
    if lint.returncode != 0:
        problems.append("lintian reports errors")

    if run("dpkg-deb", "-x", deb, root).returncode != 0:
        return problems + ["the package can't be unpacked"]
    for program in ("slidebox", "slidebox-cli"):
        page = os.path.join(root, f"usr/share/man/man1/{program}.1.gz")
        shown = run("man", "-l", page, env=dict(os.environ, MANWIDTH="80", LC_ALL="C.UTF-8"))
        text = re.sub(r".\x08", "", shown.stdout)
        if shown.returncode != 0 or "NAME" not in text or "--help" not in text:
            problems.append(f"man -l can't render {program}(1): {shown.stderr.strip()}")

    desktop = run("desktop-file-validate", os.path.join(root, "usr/share/applications/slidebox.desktop"))
    if desktop.returncode != 0 or desktop.stdout.strip():
        problems.append("desktop-file-validate: " + desktop.stdout.strip())
    appstream = run("appstreamcli", "validate", "--no-net",
                    os.path.join(root, f"usr/share/metainfo/{APPSTREAM_ID}.metainfo.xml"))
    if appstream.returncode != 0:
        problems.append("appstreamcli validate: " + appstream.stdout.strip())
    return problems + check_release_notes(deb, root)


def check_depends(deb):
    depends = run("dpkg-deb", "-f", deb, "Depends").stdout.strip()
    print("Depends: " + depends)
    problems = []
    if "libqt6widgets6" not in depends:
        problems.append("Depends lacks the Qt libraries: shared library dependencies not computed")
    extra = [d.strip() for d in depends.split(",") if NOT_AT_RUN_TIME.search(d)]
    if extra:
        problems.append("Depends names build or test packages: " + ", ".join(extra))
    return problems


def checker_sees_a_missing_resource(deb, scratch, wanted, victim):
    """The contents check itself: a package with one resource taken out must fail it."""
    tree = os.path.join(scratch, "broken")
    if run("dpkg-deb", "-R", deb, tree).returncode != 0:
        return False
    os.remove(tree + victim)
    broken = os.path.join(scratch, "broken.deb")
    if run("dpkg-deb", "--root-owner-group", "-b", tree, broken).returncode != 0:
        return False
    return victim in missing_files(broken, wanted)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--source", required=True)
    parser.add_argument("--deb", help="check this package instead of building one")
    args = parser.parse_args()

    problems = []
    resources = looked_up_resources(args.source)
    if len(resources) < 3:
        problems.append("the resources the programs look up were not found in their sources")
    wanted = expected_files() | resources
    untracked = untracked_resources(args.source)
    if untracked:
        problems.append("resources git does not know (commit them): " + " ".join(untracked))

    with tempfile.TemporaryDirectory(prefix="slidebox-package-") as scratch:
        started = time.monotonic()
        deb = args.deb or build_package(args.build, os.path.join(scratch, "out"))
        if deb is None:
            print("FAIL: cpack made no package")
            return 1
        print(f"package: {os.path.basename(deb)} ({time.monotonic() - started:.1f} s to make)")
        problems += [f"not in the package: {f}" for f in missing_files(deb, wanted)]
        problems += check_depends(deb)
        problems += check_tools(deb, os.path.join(scratch, "root"))
        if resources and not checker_sees_a_missing_resource(deb, scratch, wanted, min(resources)):
            problems.append("the contents check lets a package with a missing resource through")
        print(f"checked in {time.monotonic() - started:.1f} s")

    for problem in problems:
        print("FAIL: " + problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
