// What this process has open.
#pragma once

int open_descriptors();
