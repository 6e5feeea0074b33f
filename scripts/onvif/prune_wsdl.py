#!/usr/bin/python3
"""Cut a WSDL down to the operations vantel calls.

wsdl2h turns every operation, message and wrapper element of a service
description into code, and everything they reach into serializers.  The
daemon only calls a handful of operations, so we drop the rest before
generating: the portType and binding operations, the messages they used and
the wrapper elements of the embedded schema that nothing kept refers to.
The shared type schema (tt) is left alone; wsdl2h -O4 prunes it from the
roots that remain.

Usage: prune_wsdl.py IN.wsdl OUT.wsdl Operation [Operation ...]
Standard library only, so it runs on any build machine.
"""
import sys
import xml.dom.minidom as minidom

WSDL = "http://schemas.xmlsoap.org/wsdl/"
XS = "http://www.w3.org/2001/XMLSchema"


def children(node, ns, local=None):
    return [c for c in node.childNodes
            if c.nodeType == c.ELEMENT_NODE and c.namespaceURI == ns
            and (local is None or c.localName == local)]


def resolve(node, qname):
    """Namespace URI and local name of a QName-valued attribute."""
    prefix, _, local = qname.rpartition(":")
    attr = "xmlns:" + prefix if prefix else "xmlns"
    n = node
    while n is not None and n.nodeType == n.ELEMENT_NODE:
        if n.hasAttribute(attr):
            return n.getAttribute(attr), local
        n = n.parentNode
    return None, local


def main():
    src, dst, keep = sys.argv[1], sys.argv[2], set(sys.argv[3:])
    doc = minidom.parse(src)
    defs = doc.documentElement
    tns = defs.getAttribute("targetNamespace")

    found = set()
    used_messages = set()
    for pt in children(defs, WSDL, "portType") + children(defs, WSDL, "binding"):
        for op in children(pt, WSDL, "operation"):
            name = op.getAttribute("name")
            if name not in keep:
                pt.removeChild(op)
                continue
            found.add(name)
            for io in children(op, WSDL):
                if io.hasAttribute("message"):
                    used_messages.add(resolve(io, io.getAttribute("message"))[1])
    missing = keep - found
    if missing:
        sys.exit("%s: operations not found: %s" % (src, " ".join(sorted(missing))))

    roots = set()
    for msg in children(defs, WSDL, "message"):
        if msg.getAttribute("name") not in used_messages:
            defs.removeChild(msg)
            continue
        for part in children(msg, WSDL, "part"):
            for attr in ("element", "type"):
                if part.hasAttribute(attr):
                    ns, local = resolve(part, part.getAttribute(attr))
                    if ns == tns:
                        roots.add(local)

    # Keep the wrapper elements the kept messages use and whatever of this
    # service's own schema they reach; drop the rest.
    for types in children(defs, WSDL, "types"):
        for schema in children(types, XS, "schema"):
            if schema.getAttribute("targetNamespace") != tns:
                continue
            named = {}
            for c in children(schema, XS):
                if c.hasAttribute("name"):
                    named[(c.localName == "element", c.getAttribute("name"))] = c
            wanted = set((True, r) for r in roots)
            todo = list(wanted)
            while todo:
                node = named.get(todo.pop())
                if node is None:
                    continue
                for el in [node] + node.getElementsByTagNameNS(XS, "*"):
                    for attr in ("type", "ref", "base", "itemType", "substitutionGroup"):
                        if not el.hasAttribute(attr):
                            continue
                        ns, local = resolve(el, el.getAttribute(attr))
                        if ns != tns:
                            continue
                        key = (attr in ("ref", "substitutionGroup"), local)
                        if key not in wanted:
                            wanted.add(key)
                            todo.append(key)
            for key, node in named.items():
                if key not in wanted:
                    schema.removeChild(node)

    with open(dst, "w", encoding="utf-8") as f:
        f.write(doc.toxml())


if __name__ == "__main__":
    main()
