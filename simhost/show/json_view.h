#pragma once

#include <nlohmann/json.hpp>

#include "simhost/show/view.h"

nlohmann::ordered_json json_of(const View &view);
