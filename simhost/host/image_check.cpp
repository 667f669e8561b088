#include "simhost/host/image_check.h"

#include <fmt/format.h>

#include <exception>

#include "journal/calls/status_name.h"
#include "simhost/report/failure.h"

namespace {

struct Taker {
    const std::function<void(const sts_image_finding_t &)> &take;
    std::exception_ptr thrown;
};

// Nothing may be thrown through the library.
int32_t hand_on(const sts_image_finding_t *finding, void *context) {
    auto &taker = *static_cast<Taker *>(context);
    try {
        taker.take(*finding);
        return 0;
    } catch (...) {
        taker.thrown = std::current_exception();
        return 1;
    }
}

}  // namespace

void check_images(const PluginLibrary &library, const std::optional<std::string> &lsu, uint32_t flags,
                  const std::function<void(const sts_image_finding_t &)> &take) {
    const auto check = reinterpret_cast<decltype(&stsimg_check)>(library.symbol("stsimg_check"));
    if (check == nullptr)
        throw UsageError(
            "the plug-in's image library offers no looking through its images: it is a framework's own, or older");
    Taker taker{take, nullptr};
    const int32_t status = check(lsu ? lsu->c_str() : nullptr, flags, hand_on, &taker);
    if (taker.thrown != nullptr)
        std::rethrow_exception(taker.thrown);
    if (status != 0)
        throw BadAnswer(
            fmt::format("the image library answers {}: {}", describe_status(status), library.image_library_error()));
}
