// The frame of every command that asks an open server something.
#pragma once

#include <functional>

#include "simhost/commands/command_line.h"
#include "simhost/host/server.h"

// Loads and registers the plug-in, demands that it claims the server, opens the server, does the work, and closes all
// in order. Directories that the plug-in made on the way (a Copan array makes those of the LSUs it is asked about) are
// removed again as far as they are empty.
void with_server(const Workbench &bench, const HostOptions &host_options, const ServerOptions &server_options,
                 const std::function<void(Server &)> &work);
