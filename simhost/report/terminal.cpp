#include "simhost/report/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

size_t terminal_columns() {
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}
