// Random rules, as a person might write them.
#pragma once

#include <random>
#include <string>

// A file's "on" lines, one to eight of them, without mistakes. selector: words that every rule gets behind its entry points; a
// rule for which they make no sense is drawn again. kills: whether rules may end the process.
std::string random_rules(std::mt19937_64 &engine, const std::string &selector, bool kills);
