// What the image library finds in this one.
#include "stsimage/engine.h"
#include "stsimage/engine_host.h"
#include "stsimage/s3/s3_root.h"
#include "stsimage/s3/s3_store.h"

namespace stsimage::s3 {

namespace {

constexpr Engine s3_engine{engine_interface, S3Store::open_lsu, S3Root::open};

}  // namespace

extern "C" __attribute__((visibility("default"))) const Engine *stsimage_engine(const EngineHost *host) {
    use_host(host);
    return &s3_engine;
}

}  // namespace stsimage::s3
