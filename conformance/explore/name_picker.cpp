#include "conformance/explore/name_picker.h"

#include <fmt/format.h>

namespace conformance {

namespace {

using Texts = std::vector<std::string>;

}  // namespace

std::string NamePicker::host() { return names.hosts.empty() || chance_.one_in(4) ? "h1" : chance_.pick(names.hosts); }
std::string NamePicker::array() {
    return names.arrays.empty() || chance_.one_in(3) ? "arr1" : chance_.pick(names.arrays);
}

std::string NamePicker::server_name() {
    std::string name;
    switch (chance_.below(12)) {
        case 0:
        case 1:
        case 2:
        case 3:
            name = "Kelvarpool:" + host();
            break;
        case 4:
        case 5:
        case 6:
        case 7:
            name = "copan:" + array();
            break;
        case 8:
            name = chance_.pick(Texts{"lab:", ":", "Copan:", "kelvarpool:"}) + array();
            break;
        case 9:
            name = chance_.pick(Texts{"Kelvarpool", "copan", "lab", "none:x", "none",
                                      "Kelvarpool:", "copan:", "lab:", ":", "", "Kelvarpoo:h1", "Kelvarpool2:h1"});
            break;
        case 10:
            name = chance_.pick(Texts{"Kelvarpool:", "copan:", "lab:"}) +
                   chance_.pick(Texts{"a:b", ":", "h1:", " Kelvarpool:y", "arr1:", "arr1."});
            break;
        default:
            name = chance_.pick(Texts{"Kelvarpool:", "copan:", ""}) + long_text(chance_);
            break;
    }
    return chance_.one_in(15) ? nearly(chance_, name) : name;
}

std::string NamePicker::pool() {
    return names.pools.empty() || chance_.one_in(8) ? "{own}1" : chance_.pick(names.pools);
}
std::string NamePicker::disk() {
    const std::string name = names.disks.empty() || chance_.one_in(8) ? "d1" : chance_.pick(names.disks);
    return chance_.one_in(4) ? fmt::format("#UDID#{}#{}#", names.token, name) : name;
}

std::string NamePicker::lsu_name() {
    std::string name;
    switch (chance_.below(9)) {
        case 0:
        case 1:
            name = pool();
            break;
        case 2:
        case 3:
            name = pool() + ":" + disk();
            break;
        case 4:
        case 5:
        case 6:
            name = names.lsus.empty() ? "vol1" : chance_.pick(names.lsus);
            break;
        case 7:
            name = chance_.pick(Texts{"/", "/proc", "/sys", "{work}", "{work}/f", "{work}/s1", "/nothing/there",
                                      "{work}/f/x", "/proc/"});
            break;
        default:
            name = chance_.pick(Texts{"", ":", ":d1", "d1:", "a:b:c", "none", "none:none", "d1", "vol1/x", "../x",
                                      "{own}1/x", "x/{own}1"});
            break;
    }
    return chance_.one_in(10) ? nearly(chance_, name) : name;
}

std::string NamePicker::mount_point() {
    std::string path =
        chance_.pick(Texts{"{work}/m/v", "{work}/m/v", "{work}/m", "{work}/m/v/", "{work}/m//v", "{work}/a/b/c/d",
                           "{work}/s1", "{work}/f", "{work}/f/x", "", "/", "rel", "rel/x/y", "{work}", "{work}/", "./x",
                           "{work}/m/v//", "/proc/x/y", "{work}/s1/m"});
    if (chance_.one_in(20))
        path = "{work}/m/" + long_text(chance_);
    return path;
}

}  // namespace conformance
