#pragma once

#include <string>

// A text of the file for HTML and for Graphviz's HTML-like labels: what they take for markup as entities;
// characters that cannot be seen, and bytes that are no UTF-8, as escapes.
std::string markup_text(const std::string &text);

// The same of a name, or that there is none.
std::string markup_name(const std::string &name);
