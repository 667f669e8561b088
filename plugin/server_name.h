// The two parts of a server name, PREFIX:HOST.
#pragma once

// The prefix of every disk-array server with its ':', and what the plug-in registers under.
constexpr char plugin_prefix[] = "Kelvarpool:";

// Whether a name is a disk array's: begins with plugin_prefix.
bool is_disk_array_name(const char *server_name);

// The text behind the name's first ':', or the whole name without one; points into server_name.
const char *host_part(const char *server_name);
