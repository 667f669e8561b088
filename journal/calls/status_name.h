// Names of status codes.
#pragma once

#include <cstdint>
#include <string>

// "success", "STS_E_NOT_FOUND", or "unknown status".
std::string status_name(int32_t status);

// What the status means, "" for an unknown one.
std::string status_meaning(int32_t status);

// "success (0)", "STS_E_NOT_FOUND (2060022)", "unknown status (-2)".
std::string describe_status(int32_t status);
