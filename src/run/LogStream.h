#pragma once

#include <fstream>

// The buffer of the log: hands on what the locale's facet can encode and refuses the first
// character that it cannot. So the inserter that wrote that character turns the stream bad, and the
// text before it still reaches the file.
class LogFileBuffer : public std::wfilebuf {
protected:
    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;
    int_type overflow(int_type character) override;

private:
    // How many characters from the start of `text` the facet can encode.
    std::streamsize encodableLength(const wchar_t* text, std::streamsize count) const;
};

// A wide file stream over a LogFileBuffer. Opening and closing go through the stream's own `open`;
// never through the base class, whose buffer is not in use.
class LogStream : public std::wfstream {
public:
    LogStream();

    // For appending, in text mode, shared with everybody. Clears the state on success, sets failbit on failure.
    void open(const wchar_t* path);

private:
    LogFileBuffer m_buffer;
};
