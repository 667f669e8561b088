// Texts within HTML, XML and SVG.
#pragma once

#include <string>
#include <string_view>

// What is taken for markup, as entities: '&', '<' and '>', and those of the two quotation marks that are named. In the value of an
// attribute the mark around it has to be.
std::string with_entities(std::string_view text, std::string_view quotation_marks = "");
