#include "simhost/load/stream.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <numeric>

#include "base/escaped_text.h"
#include "simhost/host/mount_point.h"
#include "simhost/load/image_listing.h"
#include "simhost/load/open_loop.h"

namespace {

constexpr uint64_t longest_wait_ns = 50000000;

Operation drawn_operation(const OperationMix &mix, uint64_t place) {
    for (size_t i = 0; i < operation_count; ++i) {
        if (place < mix[i])
            return static_cast<Operation>(i);
        place -= mix[i];
    }
    return Operation::backup;
}

}  // namespace

Stream::Stream(const StreamSurroundings &surroundings, unsigned number)
    : m_calls(surroundings, number),
      m_images(m_calls),
      m_weights(std::accumulate(m_calls.workload().mix.begin(), m_calls.workload().mix.end(), 0U)) {}

void Stream::guarded(void (Stream::*task)()) noexcept {
    try {
        (this->*task)();
    } catch (const std::exception &failure) {
        m_calls.run().found(PromiseKind::exception,
                            fmt::format("{}: {}", m_calls.run().running_text(m_calls.stream()), failure.what()));
    } catch (...) {
        m_calls.run().found(PromiseKind::exception,
                            fmt::format("{}: of an unknown type", m_calls.run().running_text(m_calls.stream())));
    }
    m_calls.state().running.started_ns = 0;
}

void Stream::run() noexcept { guarded(&Stream::work); }

bool Stream::goes_on() {
    const uint64_t limit = m_calls.workload().operations;
    return !m_calls.run().stop() && (limit == 0 || m_calls.state().next_operation < limit);
}

void Stream::verify_all(bool keep) noexcept {
    m_keep = keep;
    guarded(&Stream::verification);
}

void Stream::verification() {
    if (!m_calls.open())
        return;
    settle_all();
    if (!m_calls.run().abandoned())
        list_images(m_calls);
    const uint64_t first = m_calls.run().first_image(m_calls.stream());
    for (uint64_t image = first; image < first + m_calls.workload().images; ++image) {
        if (!m_calls.run().abandoned() && m_calls.ledger().read(image).state == ImageState::present)
            m_images.restore(image);
        // Of an image that must not be there this only looks whether it is.
        if (!keeps(image))
            m_images.expire(image);
    }
    m_calls.close();
}

bool Stream::keeps(uint64_t image) { return m_keep && m_calls.ledger().read(image).state == ImageState::present; }

void Stream::settle_all() {
    const uint64_t first = m_calls.run().first_image(m_calls.stream());
    for (uint64_t image = first; image < first + m_calls.workload().images; ++image)
        m_images.settle(image);
}

void Stream::work() {
    bool settled = false;
    while (goes_on()) {
        const uint64_t number = m_calls.state().next_operation;
        const uint64_t begin = await_begin(number);
        if (!goes_on())
            break;
        const bool is_open = m_calls.open();
        if (is_open && !settled) {
            settle_all();
            settled = true;
        }
        Draw draw(m_calls.workload().seed, m_calls.stream() + 1, number);
        const Operation operation = drawn_operation(m_calls.workload().mix, draw.below(m_weights));
        const uint64_t own = m_calls.run().first_image(m_calls.stream()) + draw.below(m_calls.workload().images);
        const uint64_t any = draw.below(4) == 0 ? draw.below(m_calls.ledger().images()) : own;
        const uint64_t size = m_calls.workload().sizes.draw(draw);
        m_calls.state().digest = Draw::mixed(m_calls.state().digest ^ Draw::mixed(static_cast<uint64_t>(operation) ^
                                                                                  own * 16 ^ any * 1024 ^ size << 32));
        if (is_open)
            perform(operation, draw, own, any, size);
        m_calls.run().operation_times(m_calls.stream(), operation).add(now_ns() - std::min(begin, now_ns()));
        m_calls.state().next_operation = number + 1;
    }
    m_calls.close();
}

uint64_t Stream::await_begin(uint64_t number) {
    const Workload &workload = m_calls.workload();
    if (workload.rate <= 0)
        return now_ns();
    const uint64_t begin = m_calls.run().start_ns() + intended_begin_ns(workload, m_calls.stream(), number);
    for (uint64_t now = now_ns(); now < begin && goes_on(); now = now_ns()) {
        const uint64_t wake = std::min(begin, now + longest_wait_ns);
        const timespec until = {static_cast<time_t>(wake / 1000000000), static_cast<long>(wake % 1000000000)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    }
    return begin;
}

void Stream::perform(Operation operation, Draw &draw, uint64_t own, uint64_t any, uint64_t size) {
    if (!m_images.settle(own))
        return;
    // What is read may be another stream's, but then it must lie where this stream can see it.
    const uint64_t owner = any / m_calls.workload().images;
    if (m_calls.target().place_of(static_cast<unsigned>(owner)).lsu != m_calls.place().lsu)
        any = own;
    const uint64_t first = m_calls.run().first_image(m_calls.stream());
    const uint64_t other = first + (own - first + 1) % m_calls.workload().images;
    switch (operation) {
        case Operation::restore:
            m_images.restore(any);
            break;
        case Operation::verify:
            m_images.verify(any, draw);
            break;
        case Operation::expire:
            m_images.expire(own);
            break;
        case Operation::list:
            list_images(m_calls);
            break;
        case Operation::properties:
            m_images.properties(any);
            break;
        case Operation::copy:
            if (m_images.settle(other))
                m_images.copy(own, other);
            break;
        case Operation::mount:
            mount();
            break;
        case Operation::session:
            m_calls.close();
            if (m_calls.open())
                m_calls.list_lsus();
            break;
        default:
            m_images.backup(own, size);
    }
}

void Stream::mount() {
    const LoadPlace &place = m_calls.place();
    const std::string path = fmt::format("{}/{}", m_calls.target().mount_directory, m_calls.stream());
    stsp_lsu_v7_t volume = *m_calls.lsu();
    const std::string name = place.lsu + ':' + place.volume;
    name.copy(volume.lsu_name, sizeof volume.lsu_name - 1);
    char result[STS_MOUNT_RESULT_SIZE] = {};
    const int32_t status = m_calls.calls().call(
        LoadedCall::mount_lsu, [&] { return m_calls.entry().mount_lsu(&volume, path.c_str(), 1, 0, result); });
    if (status != 0)
        m_calls.failed(LoadedCall::mount_lsu, status);
    else if (const std::string link = link_target_of(path); link.empty())
        m_calls.broken(PromiseKind::wrong_mount, no_image, fmt::format("{} is no link", printable(path)));
    else if (link != place.mount_target)
        m_calls.broken(PromiseKind::wrong_mount, no_image,
                       fmt::format("{} leads to {}, and a mount before led to {}", printable(path), printable(link),
                                   printable(place.mount_target)));
    const int32_t unmounted =
        m_calls.calls().call(LoadedCall::unmount_lsu, [&] { return m_calls.entry().unmount_lsu(); });
    if (unmounted != 0)
        m_calls.failed(LoadedCall::unmount_lsu, unmounted);
    unlink(path.c_str());
}
