// The descriptors of standard input, output and error, looked at before anything is opened.
#pragma once

// Descriptors 0 to 2 that are closed are opened on /dev/null: no file of the program's may come to lie there and be taken
// for one of them. A standard input that was closed cannot be read. Returns false, with a line on standard error, when standard output is closed: there is nowhere to answer to.
bool prepare_standard_descriptors();
