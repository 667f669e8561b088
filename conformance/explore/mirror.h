// The machine as the model sees it. What the model makes goes to a second directory, so that afterwards both can be
// compared, and each call of the model's is answered by the same kernel as the plug-in's.
#pragma once

#include <string>

#include "conformance/explore/history.h"
#include "conformance/model/machine.h"

namespace conformance {

class Mirror : public model::Machine {
public:
    // base: an empty directory for this object alone. Makes "p" (for the plug-in), "m" and "etc" in it.
    Mirror(std::string base, const std::string &own_name, std::string array_name);

    const Places &places() const { return places_; }
    std::string configuration_directory() const { return base_ + "/etc"; }

    void set_tables(const void *first, const void *second) {
        first_table_ = first;
        second_table_ = second;
    }

    // Empty again, but for the regular file "f" in "p" and "m".
    void clear();

    // "" when what was made is the same on both sides, otherwise what differs.
    std::string difference() const;

    // All that the plug-in has made, a line each.
    std::string made() const;

    std::string array_name() override { return array_name_; }
    const void *first_table() override { return first_table_; }
    const void *second_table() override { return second_table_; }
    int make_directory(const std::string &path) override;
    int make_link(const std::string &target, const std::string &path) override;
    int remove_link(const std::string &path) override;
    int look_at(const std::string &path) override;
    int ask_sizes(const std::string &path) override;
    bool may_make(const std::string &path) override;

private:
    std::string mirrored(const std::string &path) const;

    std::string base_;
    Places places_;
    std::string mirror_work_;
    std::string mirror_own_;
    std::string array_name_;
    const void *first_table_ = nullptr;
    const void *second_table_ = nullptr;
};

}  // namespace conformance
