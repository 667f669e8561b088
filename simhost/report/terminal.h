// The terminal that progress is drawn on.
#pragma once

#include <cstddef>

// Of standard error; 80 when it does not say.
size_t terminal_columns();
