// The caller's memory, read and written with care: an argument that the wrapped plug-in does not follow may lead anywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace filter {

// No memory lies in the first 64 KiB. What lies beyond is taken to be there, as the plug-in takes it.
inline bool leads_somewhere(uint64_t address) { return address >= 0x10000; }

template <class Type>
Type *pointer(uint64_t address) {
    return leads_somewhere(address) ? reinterpret_cast<Type *>(address) : nullptr;  // NOLINT(performance-no-int-to-ptr)
}

// The text at an address, at most so many bytes of it; "" when it leads nowhere.
inline std::string_view text_at(uint64_t address, size_t longest) {
    const char *text = pointer<const char>(address);
    return text == nullptr ? std::string_view() : std::string_view(text, strnlen(text, longest));
}

}  // namespace filter
