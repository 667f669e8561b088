// What the filter costs: the same call made to the plug-in itself, through the filter without rules, with twenty rules
// that do not match, and with a journal.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/private_directory.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace {

const PrivateDirectory &directory() {
    static const PrivateDirectory made("stspi-filter-bench", AtEnd::remove_all);
    return made;
}

// A loaded library and an open image. Each filter is a copy of the file, so that it reads settings of its own.
struct Plugin {
    Plugin(const std::string &name, const std::string &settings) {
        std::string path = PLUGIN;
        if (!settings.empty()) {
            path = directory() / (name + ".so");
            std::filesystem::copy_file(FILTER, path);
            const std::string file = directory() / (name + ".conf");
            std::ofstream(file) << "plugin " PLUGIN "\n" << settings;
            setenv("STSPI_FILTER", file.c_str(), 1);
        }
        library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(1);
        }
        unmount = symbol<decltype(&stspi_unmount_lsu)>("stspi_unmount_lsu");
        image_prop = symbol<decltype(&stspi_get_image_prop)>("stspi_get_image_prop");
        sts_registration_t registration = {};
        if (symbol<decltype(&stspi_init)>("stspi_init")(9, nullptr, &registration) != 0)
            std::exit(1);
        stsp_lsu_v7_t lsu = {};
        symbol<decltype(&stspi_open_server)>("stspi_open_server")(nullptr, "none:host", nullptr, nullptr, &lsu.server);
        std::snprintf(lsu.lsu_name, sizeof lsu.lsu_name, "%s", directory().path().c_str());
        sts_image_definition definition = {};
        std::snprintf(definition.name, sizeof definition.name, "nightly-%s", name.c_str());
        if (symbol<decltype(&stspi_create_image)>("stspi_create_image")(&lsu, &definition, 0, &image) != 0)
            std::exit(1);
    }

    template <class Function>
    Function symbol(const char *name) const {
        return reinterpret_cast<Function>(dlsym(library, name));
    }

    void *library;
    decltype(&stspi_unmount_lsu) unmount;
    decltype(&stspi_get_image_prop) image_prop;
    sts_image_handle_t image = nullptr;
};

std::string twenty_rules() {
    std::string rules;
    for (int i = 0; i < 20; ++i)
        rules += "on get_image_prop image \"weekly-" + std::to_string(i) + "*\" answer 5\n";
    return rules;
}

void call_that_does_nothing(benchmark::State &state, const Plugin &plugin) {
    for (auto _ : state)
        benchmark::DoNotOptimize(plugin.unmount());
}

void image_properties(benchmark::State &state, const Plugin &plugin) {
    sts_image_info info = {};
    for (auto _ : state)
        benchmark::DoNotOptimize(plugin.image_prop(plugin.image, &info));
}

}  // namespace

int main(int argc, char **argv) {
    const Plugin bare("bare", "");
    const Plugin passing("passing", "# no rules\n");
    const Plugin twenty("twenty", twenty_rules());
    const Plugin journal("journal", "journal " + (directory() / "journal") + " 64M\n");
    for (const auto &[name, plugin] :
         {std::pair{"bare", &bare}, {"filter", &passing}, {"20 rules", &twenty}, {"journal", &journal}}) {
        benchmark::RegisterBenchmark((std::string("nothing/") + name).c_str(), call_that_does_nothing, *plugin);
        benchmark::RegisterBenchmark((std::string("get_image_prop/") + name).c_str(), image_properties, *plugin);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
