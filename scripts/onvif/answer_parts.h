// The camera types the commands read, cut down to what they read; typemap.dat
// maps the schema's types here.  Every other child of these elements is
// taken by the wildcard member __any, whose type reads an element past and
// keeps nothing of it (skipped_element.h): accepted where the schema puts
// it, strict parsing included, but neither built into objects nor kept as
// text.  A member access to a part left out does not compile, so a handler
// cannot start reading one unnoticed: to read one, give it back its member
// here (before __any, which takes whatever the members before it do not)
// and regenerate.  The schema directives (elements qualified, attributes
// not) are those wsdl2h writes into the interface header.

#import "skipped_element.h"

// A token is at most 64 characters; a longer one fails the answer.
typedef std::string tt__ReferenceToken : 64;

class tt__VideoEncoderConfiguration;
class tt__PTZCapabilities;

// A profile: its token, its video encoder (read for the stream settings)
// and its PTZ configuration, read for the node token alone.
class tt__PTZConfiguration
{ public:
    std::string NodeToken 1;
    std::vector<skipped_element> __any;
};
class tt__Profile
{ public:
    tt__VideoEncoderConfiguration *VideoEncoderConfiguration 0;
    tt__PTZConfiguration *PTZConfiguration 0;
    std::vector<skipped_element> __any;
  @ tt__ReferenceToken token 1;
};

// A profile as GetProfiles lists it: its token and its PTZ configuration,
// all that any command reads of the list (a profile's encoder is read from
// GetProfile, which answers with the profile above), and its name, which
// vantelctl probe shows.
class tt__ListedProfile
{ public:
    std::string Name 0;  // optional here: no command reads it
    tt__PTZConfiguration *PTZConfiguration 0;
    std::vector<skipped_element> __any;
  @ tt__ReferenceToken token 1;
};
class _trt__GetProfilesResponse
{ public:
    std::vector<tt__ListedProfile*> Profiles 0;
};

// Capabilities: the device, media and PTZ service addresses.
class tt__DeviceCapabilities
{ public:
    std::string XAddr 1;
    std::vector<skipped_element> __any;
};
class tt__MediaCapabilities
{ public:
    std::string XAddr 1;
    std::vector<skipped_element> __any;
};
class tt__Capabilities
{ public:
    tt__DeviceCapabilities *Device 0;
    tt__MediaCapabilities *Media 0;
    tt__PTZCapabilities *PTZ 0;
    std::vector<skipped_element> __any;
};

// A preset: its token.
class tt__PTZPreset
{ public:
    std::vector<skipped_element> __any;
  @ tt__ReferenceToken *token 0;
};

// A stream address: the address.
class tt__MediaUri
{ public:
    std::string Uri 1;
    std::vector<skipped_element> __any;
};

// The device information: maker and model, and the firmware version that
// vantelctl probe shows.
class _tds__GetDeviceInformationResponse
{ public:
    std::string Manufacturer 1;
    std::string Model 1;
    std::string FirmwareVersion 0;  // optional here: no command reads it
    std::vector<skipped_element> __any;
};

// Extensions of a PTZ node and of the camera's date and time.
class tt__PTZNodeExtension
{ public:
    std::vector<skipped_element> __any;
};
class tt__SystemDateTimeExtension
{ public:
    std::vector<skipped_element> __any;
};
