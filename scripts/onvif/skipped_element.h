// An element of an answer read past and not kept: the type of the wildcard
// members (__any) of answer_parts.h.  The runtime reads such an element to
// its end, nested elements and all, and builds nothing of it; a wildcard
// member still accepts it where the schema puts it, strict parsing
// included.  Its serializers are src/gsoap_runtime/skipped_element.cc.

extern typedef char skipped_element;
