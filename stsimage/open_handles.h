// The images and lists that are open.
#pragma once

#include <chrono>

#include "stsimage/handle_table.h"
#include "stsimage/image.h"
#include "stsimage/image_list.h"

namespace stsimage {

HandleTable<Image> &open_images();
HandleTable<ImageList> &open_lists();

// Counts those who use the library. When the last one ends, all that is open is closed; what was being written is discarded.
void begin_use();
void end_use();

// Closes all that is open, and waits for engines that do not answer for some seconds at most, where they can be waited for so shortly. At
// the end of the process this happens by itself; engines ask for it before they end.
void give_up_open_at_end();

// What is left of these seconds, for all threads; more than any time-out before they begin.
std::chrono::milliseconds time_left_at_end();

}  // namespace stsimage
