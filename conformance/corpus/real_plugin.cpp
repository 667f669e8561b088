#include "real_plugin.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace broken {

namespace {

// Relocations of what a library imports: a function that it calls, and one whose address it takes.
#if defined(__x86_64__)
constexpr uint32_t jump_slot = R_X86_64_JUMP_SLOT;
constexpr uint32_t global_data = R_X86_64_GLOB_DAT;
#elif defined(__aarch64__)
constexpr uint32_t jump_slot = R_AARCH64_JUMP_SLOT;
constexpr uint32_t global_data = R_AARCH64_GLOB_DAT;
#elif defined(__s390x__)
constexpr uint32_t jump_slot = R_390_JMP_SLOT;
constexpr uint32_t global_data = R_390_GLOB_DAT;
#else
#error "Imports cannot be replaced for this processor yet: name the relocations of its imported functions"
#endif

void *library = nullptr;

const char *chosen() {
    static const char *const breakage = std::getenv("STSPI_BROKEN");
    return breakage == nullptr ? "" : breakage;
}

// Nothing of the process that loads this can go on without the library to wrap.
[[noreturn]] void give_up(const char *why) {
    std::fprintf(stderr, "libstspi_broken.so: STSPI_BROKEN_REAL must name the plug-in to wrap: %s\n", why);
    std::_Exit(EXIT_FAILURE);
}

[[gnu::constructor]] void load() {
    const char *path = std::getenv("STSPI_BROKEN_REAL");
    if (path == nullptr || *path == '\0')
        give_up("it is not set");
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        give_up(dlerror());
    replace_imports();
    if (Dl_info own; is("permitted.stays-loaded") && dladdr(&library, &own) != 0)
        dlopen(own.dli_fname, RTLD_LAZY | RTLD_NODELETE);
}

[[gnu::destructor]] void unload() { dlclose(library); }

void write_slot(void **slot, void *value) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<uintptr_t>(slot) & ~(page - 1);
    mprotect(reinterpret_cast<void *>(begin), page, PROT_READ | PROT_WRITE);  // NOLINT(performance-no-int-to-ptr)
    *slot = value;
}

}  // namespace

bool is(const char *breakage) {
    const size_t length = std::strlen(breakage);
    for (const char *name = chosen(); *name != '\0';) {
        const size_t ends = std::strcspn(name, ",");
        if (ends == length && std::strncmp(name, breakage, length) == 0)
            return true;
        name += ends + (name[ends] == ',' ? 1 : 0);
    }
    return false;
}

bool is_any_of(const char *prefix) {
    for (const char *name = chosen(); name != nullptr; name = std::strchr(name, ','))
        if (name += *name == ',' ? 1 : 0; std::strncmp(name, prefix, std::strlen(prefix)) == 0)
            return true;
    return false;
}

void *real_symbol(const char *name) { return dlsym(library, name); }

void *replace_import(const char *name, void *replacement) {
    link_map *map = nullptr;
    dlinfo(library, RTLD_DI_LINKMAP, &map);
    const Elf64_Sym *symbols = nullptr;
    const char *names = nullptr;
    struct Relocations {
        const Elf64_Rela *begin = nullptr;
        size_t bytes = 0;
    } tables[2];
    for (const ElfW(Dyn) *entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        const auto address = entry->d_un.d_ptr;
        switch (entry->d_tag) {
            case DT_SYMTAB:
                symbols = reinterpret_cast<const Elf64_Sym *>(address);
                break;
            case DT_STRTAB:
                names = reinterpret_cast<const char *>(address);
                break;
            case DT_RELA:
                tables[0].begin = reinterpret_cast<const Elf64_Rela *>(address);
                break;
            case DT_RELASZ:
                tables[0].bytes = entry->d_un.d_val;
                break;
            case DT_JMPREL:
                tables[1].begin = reinterpret_cast<const Elf64_Rela *>(address);
                break;
            case DT_PLTRELSZ:
                tables[1].bytes = entry->d_un.d_val;
                break;
            default:
                break;
        }
    }
    void *previous = nullptr;
    for (const Relocations &table : tables)
        for (size_t i = 0; i < table.bytes / sizeof(Elf64_Rela); ++i) {
            const Elf64_Rela &relocation = table.begin[i];
            const auto type = ELF64_R_TYPE(relocation.r_info);
            if ((type != jump_slot && type != global_data) ||
                std::strcmp(names + symbols[ELF64_R_SYM(relocation.r_info)].st_name, name) != 0)
                continue;
            auto **slot =
                reinterpret_cast<void **>(map->l_addr + relocation.r_offset);  // NOLINT(performance-no-int-to-ptr)
            previous = *slot;
            write_slot(slot, replacement);
        }
    if (previous == nullptr) {
        std::fprintf(stderr, "the wrapped library does not import %s\n", name);
        std::abort();
    }
    return previous;
}

}  // namespace broken
