#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

// The text of the plug-in status file, byte by byte.

// What the program takes of a file that it reads as text: what stands before the first white space.
std::string firstToken(const std::string& bytes);

// Whether each lead byte has its trail bytes and there is no shorter form.
bool isUtf8(const std::string& text);

// The JSON object that the text holds, if it holds one.
std::optional<nlohmann::json> parseObject(const std::string& text);

bool hasBlankOutsideStrings(const std::string& json);

size_t utf16Length(const std::string& utf8);

// Bytes as the trace writes those that go to a file: each for a character of its own.
std::string bytesAsTraced(const std::string& bytes);
