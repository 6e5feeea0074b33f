#!/usr/bin/python3
"""Bytes of a static binary by component, from the GNU ld map file of its
link (-Wl,-Map=FILE): every input section placed in an output section that
takes room in the file is charged to the archive or object it came from.
Sections of link-time-optimised partitions (ltrans objects) are charged by
the function or variable they hold, looked up in the symbols the build
tree's own objects define (read with NM, the target's gcc-nm).

    scripts/size-breakdown.py build-ppc/vantel.map [build-ppc [NM]]
"""
import glob
import os
import re
import subprocess
import sys

# Output sections that take no room in the file.
NOBITS = {".bss", ".sbss", ".tbss"}

COMPONENTS = [
    ("ours", re.compile(r"libvantel_\w+\.a|/vantel(ctl)?\.dir/")),
    ("generated bindings", re.compile(r"libonvif\.a\((soapC|soapClient|onvif_namespaces)")),
    ("gSOAP runtime + plugins", re.compile(r"libonvif\.a\(|libgsoap_runtime\.a")),
    ("wolfSSL", re.compile(r"libwolfssl\.a")),
    ("zlib", re.compile(r"libz\.a")),
    ("libstdc++ + libgcc", re.compile(r"lib(stdc\+\+|supc\+\+|gcc|gcc_eh|atomic)\.a")),
    ("glibc", re.compile(r"lib(c|m|pthread|rt|dl|resolv)\.a|/crt[^/]*\.o$")),
    ("LTO partitions: unwind tables, local functions", re.compile(r"ltrans")),
]

ENTRY = re.compile(r"^\s+(0x[0-9a-f]+)\s+(0x[0-9a-f]+)\s+(\S.*)$")


# Objects of the build tree by component, for the ltrans partitions.
OBJECT_COMPONENTS = [
    ("generated bindings", "onvif.dir/src/onvif/"),
    ("gSOAP runtime + plugins", "onvif.dir/"),
    ("gSOAP runtime + plugins", "gsoap_runtime.dir/"),
    ("ours", "CMakeFiles/vantel"),
]
SYMBOLS = {}
# GCC's suffixes for clones and promoted locals.
CLONE = re.compile(r"\.(lto_priv|constprop|isra|part|cold|localalias|str\d*)(\.\d+)?")


def read_symbols(build_dir, nm):
    for path in sorted(glob.glob(os.path.join(build_dir, "CMakeFiles", "**", "*.o"), recursive=True)):
        owner = next((name for name, part in OBJECT_COMPONENTS if part in path), None)
        if owner is None:
            continue
        listing = subprocess.run([nm, "--defined-only", path], capture_output=True, text=True).stdout
        for line in listing.splitlines():
            fields = line.split()
            if len(fields) == 3:
                SYMBOLS.setdefault(fields[2], owner)


def component(path, section=""):
    if "ltrans" in path and SYMBOLS:
        name = re.sub(r"^\.(text|rodata|data\.rel\.ro|data|sdata|sdata2|tbss|tdata)(\.(unlikely|startup|hot|local))?\.", "", section)
        name = CLONE.sub("", name)
        if name in SYMBOLS:
            return SYMBOLS[name]
    for name, pattern in COMPONENTS:
        if pattern.search(path):
            return name
    return "other (linker-made)"


def main(map_path):
    totals = {}
    output = None
    section = ""
    in_map = False
    pending_input = False
    with open(map_path) as lines:
        for line in lines:
            if line.startswith("Linker script and memory map"):
                in_map = True
                continue
            if not in_map:
                continue
            if line and not line[0].isspace():
                output = line.split()[0]  # an output section
                continue
            stripped = line.strip()
            if not stripped:
                continue
            # An input section: " .text.name  0xADDR  0xSIZE  file", or the
            # name alone on one line and the rest on the next.
            if line.startswith(" ") and not line.startswith("  ") and stripped.startswith("."):
                parts = stripped.split(None, 3)
                section = parts[0]
                if len(parts) == 1:
                    pending_input = True
                    continue
                if len(parts) == 4:
                    charge(totals, output, int(parts[2], 16), parts[3], section)
                pending_input = False
                continue
            if pending_input:
                match = ENTRY.match(line)
                if match:
                    charge(totals, output, int(match.group(2), 16), match.group(3), section)
                pending_input = False
    total = sum(totals.values())
    for name, size in sorted(totals.items(), key=lambda item: -item[1]):
        print(f"| {name} | {size / 1024:,.0f} KiB | {100 * size / total:.0f} % |")
    print(f"| total in the file | {total / 1024:,.0f} KiB | |")


def charge(totals, output, size, path, section):
    if output is None or output in NOBITS or not output.startswith(".") or size == 0:
        return
    if output in (".comment",) or output.startswith(".debug") or output.startswith(".gnu.attributes"):
        return
    name = component(path, section)
    totals[name] = totals.get(name, 0) + size


if __name__ == "__main__":
    if len(sys.argv) > 2:
        read_symbols(sys.argv[2], sys.argv[3] if len(sys.argv) > 3 else "powerpc-linux-gnu-gcc-nm")
    main(sys.argv[1])
