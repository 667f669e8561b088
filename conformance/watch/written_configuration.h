// The configuration files that this process's test has written, for its findings.
#pragma once

#include <string>

#include "conformance/report/configuration_text.h"

namespace conformance {

void remember_configuration(const std::string &file_name, const std::string &text);
void forget_configuration(const std::string &file_name);
void forget_all_configuration();

// Long texts are cut.
ConfigurationTexts written_configuration();

}  // namespace conformance
