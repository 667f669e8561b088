// Which server names are simulated.
#pragma once

// Whether the configuration file of the name's prefix opens for reading; false for a null or empty name. Throws
// std::bad_alloc when there is no memory to open it.
bool isPluginSimulated(const char *server_name);
