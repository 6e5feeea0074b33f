// State that belongs to one SOAP context, kept as the context's plugin data
// instead of in file-level variables: the hooks a wrapper chains to and what
// it learns of an answer. A working copy made from the context gets a copy
// of its own. `Data` names itself with a `static constexpr const char* kId`.
// Whoever owns the context; command server thread only.
#pragma once

#include "stdsoap2.h"

namespace vantel {

template <typename Data>
struct ContextData {
  static int create(struct soap*, struct soap_plugin* plugin, void* initial) {
    plugin->id = Data::kId;
    plugin->data = new Data(*static_cast<const Data*>(initial));
    plugin->fcopy = copy;
    plugin->fdelete = destroy;
    return SOAP_OK;
  }
  static int copy(struct soap*, struct soap_plugin* to, struct soap_plugin* from) {
    to->data = new Data(*static_cast<const Data*>(from->data));
    return SOAP_OK;
  }
  static void destroy(struct soap*, struct soap_plugin* plugin) { delete static_cast<Data*>(plugin->data); }
};

// The context's `Data`, nullptr before attach().
template <typename Data>
Data* data_of(struct soap* soap) {
  return static_cast<Data*>(soap_lookup_plugin(soap, Data::kId));
}

// Gives the context its `Data`, starting as `initial`.
template <typename Data>
Data* attach(struct soap* soap, const Data& initial) {
  soap_register_plugin_arg(soap, ContextData<Data>::create, const_cast<Data*>(&initial));
  return data_of<Data>(soap);
}

}  // namespace vantel
