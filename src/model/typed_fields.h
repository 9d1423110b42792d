// What the window accepts when a person types a year or a size: the forms
// captions read well with, so a slip ("20211", "1.5.5") is caught while the
// field is still in front of them instead of going to print.
#pragma once

#include <string_view>

namespace quorvane {

// "2021"; a span "2019–2021", "2019-2021", "2019–21" or "2019/2020"; either
// after "c.", "ca." or "circa" ("c. 2020"). Years have three or four digits.
// Empty reads (no year).
bool isReadableYear(std::string_view year);

// A size as a number: "120", "80.5", "80,5", a fraction "24 1/2" or "1/2".
// Empty reads (no size).
bool isReadableDimension(std::string_view size);

}  // namespace quorvane
