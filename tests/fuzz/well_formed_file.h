// Configuration files as a careful person writes them: what a fuzzer's mutations start from.
#pragma once

#include <random>
#include <string>

// Of the grammar that check_fuzzer takes for a text of that length: even a disk array's, odd a Copan array's.
std::string well_formed_file(std::mt19937 &engine);
