// Names for calls: those that the files know, mostly, and others that are like them.
#pragma once

#include <string>

#include "conformance/explore/chance.h"
#include "conformance/explore/configuration_maker.h"

namespace conformance {

class NamePicker {
public:
    // The chance outlives this object.
    explicit NamePicker(Chance &chance) : chance_(chance) {}

    KnownNames names;

    std::string host();
    std::string array();
    std::string server_name();
    std::string pool();
    std::string disk();
    std::string lsu_name();
    // Always one whose making and removal harms nobody else.
    std::string mount_point();

private:
    Chance &chance_;
};

}  // namespace conformance
