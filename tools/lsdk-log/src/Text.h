#pragma once

#include <string>
#include <string_view>

// The text of log bytes: UTF-8 where they are that, otherwise Latin-1, which the configurator
// writes. What could command a terminal or turn the reading direction is replaced; NULs are left
// out. The result is valid UTF-8.
std::string readableText(std::string_view bytes);

// For one line of a report: line breaks become blanks, and what is longer than `limit` bytes is cut.
std::string oneLine(std::string_view text, std::size_t limit = 2000);

// With the characters replaced that mean something in HTML, in text and in attribute values.
std::string escapeHtml(std::string_view text);
