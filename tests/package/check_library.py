#!/usr/bin/env python3
"""Checks the shared object: it exports exactly what the public headers declare, under one version, and (where it is
not built with sanitizers) needs only libc and has no writable data of its own."""
import argparse
import re
import subprocess
import sys


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def declared_names(compiler, include):
    """The functions and tables that the preprocessed headers mark for export."""
    text = run(compiler, "-E", "-P", "-x", "c", f"{include}/qvovc.h", f"-I{include}")
    mark = '__attribute__((visibility("default")))'
    names = set()
    for declaration in text.split(mark)[1:]:
        declaration = declaration.split(";")[0]
        names.add(re.search(r"(\w+)\s*(?:\(|\[|$)", declaration).group(1))
    return names


def exported_names(library):
    names = set()
    for line in run("nm", "-D", "--defined-only", library).splitlines():
        kind, name = line.split()[-2:]
        if kind == "A":  # the version node itself
            continue
        name, _, version = name.partition("@@")
        assert version == "QVOVC_4", f"{name} has version '{version}'"
        assert kind in "TRD", f"{name} is of kind {kind}: neither code nor constant data"
        names.add(name)
    return names


def writable_sections(library):
    """Sections that stay writable once the loader has relocated the object."""
    relro = re.search(r"GNU_RELRO\s+\S+ 0x(\w+) \S+ 0x\w+ 0x(\w+)", run("readelf", "-lW", library))
    start, size = int(relro.group(1), 16), int(relro.group(2), 16)
    found = []
    section = re.compile(r"\] (\S+)\s+\w+\s+(\w+) \w+ (\w+) \w+\s+(\w*W\w*) ")
    for name, address, length, _ in section.findall(run("readelf", "-SW", library)):
        if int(length, 16) and not start <= int(address, 16) < start + size:
            found.append(name)
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--compiler", default="cc")
    parser.add_argument("--include", required=True)
    parser.add_argument("--sanitized", action="store_true")
    parser.add_argument("library")
    args = parser.parse_args()

    faults = []
    declared, exported = declared_names(args.compiler, args.include), exported_names(args.library)
    assert len(declared) > 50, "the headers' declarations were not found"
    faults += [f"declared but not exported: {name}" for name in sorted(declared - exported)]
    faults += [f"exported but not declared: {name}" for name in sorted(exported - declared)]

    dynamic = run("readelf", "-dW", args.library)
    if "[libqvovc.so.4]" not in dynamic:
        faults.append("the soname is not libqvovc.so.4")
    if not args.sanitized:
        needed = re.findall(r"NEEDED.*\[(.*)\]", dynamic)
        if needed != ["libc.so.6"]:
            faults.append(f"needs {needed}, not only libc")
        if "TEXTREL" in dynamic:
            faults.append("has text relocations")
        faults += [f"writable section {name}" for name in writable_sections(args.library)]

    print(f"{len(exported)} exported names")
    print("\n".join(faults))
    sys.exit(bool(faults))


if __name__ == "__main__":
    main()
