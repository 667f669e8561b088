// What librados tells of an operation that it does meanwhile.
#pragma once

#include <memory>
#include <rados/librados.hpp>

namespace stsimage {

struct ReleaseCompletion {
    void operator()(librados::AioCompletion *completion) const { completion->release(); }
};
using Completion = std::unique_ptr<librados::AioCompletion, ReleaseCompletion>;

inline Completion make_completion() { return Completion(librados::Rados::aio_create_completion()); }

}  // namespace stsimage
