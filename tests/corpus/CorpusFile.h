#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// The corpus of bad input: one file of JSON per family, read when the tests run. A new case needs
// no code. README.md has the fields.
//
// Texts may hold: <<a*300>> for 300 times that text, <<u D83D>> for a unit of UTF-16 that need not
// have its partner, <<x FF 00>> for bytes as they are.
using CorpusCase = nlohmann::json;

// Where the corpus is, beside this program. To be asked once before a test lets the program seem to
// be elsewhere.
const std::wstring& corpusFolder();
// A family's file. Throws std::runtime_error.
nlohmann::json readCorpus(const std::string& family);

// The name of a test for a case's name in plain words: "no such user" gives NoSuchUser.
std::string testName(std::string_view plainWords);

// A text of the corpus as wide text, or as the bytes of a file.
std::wstring wideText(const std::string& text);
std::string bytesText(const std::string& text);

// A number as the corpus has it: "0xC0000409".
unsigned long codeOf(const CorpusCase& item);
