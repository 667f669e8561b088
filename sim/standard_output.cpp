#include "sim/standard_output.h"

#include <cxxabi.h>

#include <iostream>

void print_line(const std::string &line) {
    try {
        std::cout << line << std::endl;
    } catch (const abi::__forced_unwind &) {  // a thread that is cancelled while it prints
        throw;
    } catch (...) {
        return;
    }
}
