#pragma once

#include <string>

#include "simhost/show/view.h"

// One page that needs nothing from anywhere else: no network, no other file. Choosing a host shows which pools it sees.
std::string html_of(const View &view);
