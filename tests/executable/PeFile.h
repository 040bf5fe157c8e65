#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "stand-in/Windows.h"

// An executable as its bytes lie on disk. Addresses are relative to the loaded image's.
class PeFile {
public:
    // Throws std::invalid_argument for anything but an executable for 64-bit Windows.
    explicit PeFile(std::string bytes);

    const std::string& bytes() const { return m_bytes; }

    IMAGE_NT_HEADERS64 headers() const;
    void setHeaders(const IMAGE_NT_HEADERS64& headers) { put(headersOffset(), headers); }
    IMAGE_DATA_DIRECTORY directory(unsigned index) const;
    std::vector<IMAGE_SECTION_HEADER> sections() const;
    IMAGE_SECTION_HEADER section(const std::string& name) const;
    void setSection(const IMAGE_SECTION_HEADER& section);  // the one of its name

    // All throw std::out_of_range beyond the file.
    template <typename T>
    T at(DWORD address, size_t index = 0) const {
        return get<T>(offsetOf(address) + index * sizeof(T));
    }
    template <typename T>
    void write(DWORD address, const T& value) {
        put(offsetOf(address), value);
    }
    std::string textAt(DWORD address) const;
    void writeText(DWORD address, const std::string& text);  // without an end
    // The address of the first occurrence of these bytes in a section; 0 for none.
    DWORD find(const IMAGE_SECTION_HEADER& section, const std::string& bytes) const;

private:
    size_t headersOffset() const;
    size_t sectionOffset(const std::string& name) const;
    size_t offsetOf(DWORD address) const;

    template <typename T>
    T get(size_t offset) const {
        T value;
        expectInFile(offset, sizeof(T));
        std::memcpy(&value, m_bytes.data() + offset, sizeof(T));
        return value;
    }
    template <typename T>
    void put(size_t offset, const T& value) {
        expectInFile(offset, sizeof(T));
        std::memcpy(m_bytes.data() + offset, &value, sizeof(T));
    }
    void expectInFile(size_t offset, size_t size) const;

    std::string m_bytes;
};
