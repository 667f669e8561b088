// The Copan array that a configuration file describes: names of LSUs, and a directory that holds one for each.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conformance/model/machine.h"

namespace conformance::model {

class CopanArray {
public:
    // server_name: PREFIX:HOST. Gives nothing when no section of the file is the host's; output receives what was printed.
    static std::optional<CopanArray> read(const std::string &server_name, const std::string &file, std::string &output);

    const std::string &name() const { return name_; }
    const std::vector<std::string> &lsus() const { return lsus_; }
    bool has(const std::string &lsu) const;

    // Where an LSU's directory is.
    std::string path_of(const std::string &lsu) const { return storage_directory_ + "/" + lsu; }

    // Makes the LSU's directory, configured or not. say receives what goes to the simulators' session.
    std::optional<std::string> directory_of(Machine &machine, const std::string &lsu,
                                            const std::function<void(const std::string &)> &say) const;

private:
    std::string name_;
    std::string storage_directory_;
    std::vector<std::string> lsus_;
};

}  // namespace conformance::model
