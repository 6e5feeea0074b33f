// Stand-ins for the two WS-BaseNotification types the shared camera types
// refer to.  The daemon never subscribes to events, so both are kept as
// opaque DOM trees: they parse and re-serialize whatever a device sends
// without pulling the notification schema (unreachable offline) into the
// build.

//gsoap wsnt schema namespace: http://docs.oasis-open.org/wsn/b-2
//gsoap wsnt schema form: qualified

#import "dom.h"

class wsnt__FilterType
{ public:
    std::vector<xsd__anyType> __any;   // filter expressions, kept verbatim
};

class wsnt__NotificationMessageHolderType
{ public:
    std::vector<xsd__anyType> __any;   // message holder content, kept verbatim
};
