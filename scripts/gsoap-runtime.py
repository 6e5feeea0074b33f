#!/usr/bin/python3
"""Copies the gSOAP runtime (stdsoap2.h, stdsoap2.cpp, dom.cpp) from a gSOAP
source tree into DEST for every build (scripts/gsoap-runtime.sh), with the
HTTP Digest plugin (plugin/httpda.c, httpda.h, threads.c, threads.h,
unchanged: beside the runtime, httpda.h includes the daemon's smdevp.h on
wolfSSL instead of gSOAP's on OpenSSL, cmake/onvif.cmake), without
the runtime's optional C++ stream I/O: sending to soap->os, receiving from soap->is,
soap_stream_fault() and the DOM's << and >> operators.

vantel never sets soap->is or soap->os (it talks to cameras over sockets
only) and calls none of those functions. But their mere presence links
libstdc++'s instantiations of basic_ios, istream and ostream, and with them
the construction of the classic locale, every char and wchar_t facet and
glibc's wide-character, collation and iconv code: a fifth of the static
PowerPC program.
(libstdc++.a is position-independent code; on 32-bit PowerPC each object's
.got2 section keeps everything the object refers to, so once one function
of such an object is linked, section garbage collection can drop none of
it.) Without the stream code nothing links them. struct soap and stdsoap2.h
are unchanged; a stream set on soap->is or soap->os reads end of file and
fails to write, and a call of a removed function fails to link.

It also removes two kinds of undefined behaviour that the fuzzers found
in the runtime's parsing of camera answers, once they compiled it with
their instrumentation: hex digits of a %-escape are combined with a left
shift, which is undefined for a negative value (a '%' followed by any two
characters below '0'); and a gzip header that ends early shifts EOF (-1).
The edits multiply, or shift an unsigned value, instead: the same result
on every compiler we use, now defined.

Every edit must match exactly as often as it says (once unless given), so
another gSOAP version fails here rather than being built half-edited.

    scripts/gsoap-runtime.py SOURCE DEST
"""
import os
import re
import sys

source, dest = sys.argv[1], sys.argv[2]

EDITS = {
    "stdsoap2.cpp": [
        # fsend(): a stream on soap->os fails to write.
        ("    soap->os->write(s, (std::streamsize)n);\n"
         "    if (soap->os->good())\n"
         "      return SOAP_OK;\n"
         "    return SOAP_EOF;\n",
         "    return SOAP_EOF;\n"),
        # frecv(): a stream on soap->is reads end of file.
        (re.compile(r"    if \(soap->is->good\(\)\)\n"
                    r"      return \(size_t\)soap->is->read\(s, \(std::streamsize\)n\)\.gcount\(\);[^\n]*\n"
                    r"    return 0;\n"),
         "    return 0;\n"),
        # soap_end_send_flush()
        ("  if (soap->os)\n    soap->os->flush();\n", ""),
        (re.compile(r"SOAP_FMAC1\nvoid\nSOAP_FMAC2\nsoap_stream_fault\(struct soap \*soap, std::ostream& os\)\n\{\n.*?\n\}\n", re.S), ""),
        (re.compile(r"SOAP_FMAC1\nvoid\nSOAP_FMAC2\nsoap_stream_fault_location\(struct soap \*soap, std::ostream& os\)\n\{\n.*?\n\}\n", re.S), ""),
        # The high hex digit of a %-escape or hex pair, in the five places
        # that decode one.
        (re.compile(r"(\? \((s\[1\]|d1) ?& ?0x7\) \+ 9 : (s\[1\]|d1) - '0'\)) << 4\)"), r"\1 * 16)", 5),
        # The gzip header's FEXTRA length.
        ("    i |= soap_get1(soap) << 8;\n", "    i |= (int)((unsigned int)soap_get1(soap) << 8);\n"),
    ],
    "dom.cpp": [
        (re.compile(r"std::ostream &operator<<\(std::ostream &o, const struct soap_dom_element &e\)\n\{\n.*?\n  return o;\n\}\n", re.S), ""),
        (re.compile(r"std::istream &operator>>\(std::istream &i, struct soap_dom_element &e\)\n\{\n.*?\n  return i;\n\}\n", re.S), ""),
    ],
    "stdsoap2.h": [],
    "plugin/httpda.c": [],
    "plugin/httpda.h": [],
    "plugin/threads.c": [],
    "plugin/threads.h": [],
}

os.makedirs(dest, exist_ok=True)
for name, edits in EDITS.items():
    with open(os.path.join(source, name), encoding="latin-1") as f:
        text = f.read()
    for old, new, *times in edits:
        expected = times[0] if times else 1
        if isinstance(old, str):
            count = text.count(old)
            text = text.replace(old, new)
        else:
            text, count = old.subn(new, text)
        if count != expected:
            sys.exit(f"gsoap-runtime: {name}: expected {expected} matches, found {count}: {getattr(old, 'pattern', old)[:60]!r}")
    path = os.path.join(dest, os.path.basename(name))
    # Rewritten only when different, so that an unchanged runtime is not
    # recompiled.
    try:
        with open(path, encoding="latin-1") as f:
            if f.read() == text:
                continue
    except FileNotFoundError:
        pass
    with open(path, "w", encoding="latin-1") as f:
        f.write(text)
