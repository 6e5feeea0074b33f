// PTZ control of older cameras that still answer only in the first-generation
// PTZ namespace.  No published service description covers what they accept,
// so the two operations we need are declared by hand here and generated
// together with the rest of the bindings (prefix tptz1).
//
// These cameras serve PTZ at a fixed path on port 8000 and dispatch on the
// SOAP action, so the action is that URL.  The host part is a placeholder
// (127.0.0.1): the daemon always passes the camera's real endpoint to the
// call, and the action only has to carry the path the firmware expects.

//gsoap tptz1 service name:		PTZ10Binding
//gsoap tptz1 service namespace:	http://www.onvif.org/ver10/ptz/wsdl
//gsoap tptz1 service port:		http://127.0.0.1:8000/WebService/PTZ
//gsoap tptz1 service transport:	http://schemas.xmlsoap.org/soap/http
//gsoap tptz1 schema namespace:		http://www.onvif.org/ver10/ptz/wsdl
//gsoap tptz1 schema elementForm:	qualified
//gsoap tptz1 schema attributeForm:	unqualified

/// Stop pan/tilt and/or zoom; both stop when neither flag is sent.
class tptz1__StopRequest
{ public:
    tt__ReferenceToken ProfileToken 1;
    bool *PanTilt 0;
    bool *Zoom 0;
    struct soap *soap;
};

class tptz1__StopResponse
{ public:
    struct soap *soap;
};

/// Delete a stored preset position.
class tptz1__RemovePreset
{ public:
    tt__ReferenceToken ProfileToken 1;
    tt__ReferenceToken PresetToken 1;
    struct soap *soap;
};

class tptz1__RemovePresetResponse
{ public:
    struct soap *soap;
};

// Parameter names give the element tags on the wire; a trailing underscore
// is dropped there and only keeps them apart from the class names.
//gsoap tptz1 service method-protocol:	Stop SOAP
//gsoap tptz1 service method-style:	Stop document
//gsoap tptz1 service method-encoding:	Stop literal
//gsoap tptz1 service method-action:	Stop http://127.0.0.1:8000/WebService/PTZ
int __tptz1__Stop(
    tptz1__StopRequest *tptz1__Stop,
    tptz1__StopResponse &tptz1__StopResponse_);

//gsoap tptz1 service method-protocol:	RemovePreset SOAP
//gsoap tptz1 service method-style:	RemovePreset document
//gsoap tptz1 service method-encoding:	RemovePreset literal
//gsoap tptz1 service method-action:	RemovePreset http://127.0.0.1:8000/WebService/PTZ
int __tptz1__RemovePreset(
    tptz1__RemovePreset *tptz1__RemovePreset_,
    tptz1__RemovePresetResponse &tptz1__RemovePresetResponse_);
