// What the image library finds in this one.
#include "stsimage/engine.h"
#include "stsimage/engine_host.h"
#include "stsimage/rados/rados_root.h"
#include "stsimage/rados/rados_store.h"

namespace stsimage {

namespace {

constexpr Engine rados_engine{engine_interface, RadosStore::open_lsu, RadosRoot::open};

}  // namespace

extern "C" __attribute__((visibility("default"))) const Engine *stsimage_engine(const EngineHost *host) {
    use_host(host);
    return &rados_engine;
}

}  // namespace stsimage
