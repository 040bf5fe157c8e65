#pragma once

#include <exception>

// An exception without a message: its reason stands in the log line that was written before it was thrown.
class UnknownException : public std::exception {
public:
    const char* what() const noexcept override { return "Unknown exception"; }
};

// The text of an exception as the log shows it. The exceptions that the language itself raises
// carry another text in each runtime library; the log has one wording for them on every machine.
const char* textOf(const std::exception& exception) noexcept;
