#include "executable/PeFile.h"

#include <string_view>
#include <utility>

namespace {

std::string nameOf(const IMAGE_SECTION_HEADER& section) {
    const auto* const text = reinterpret_cast<const char*>(section.Name);
    return {text, ::strnlen(text, IMAGE_SIZEOF_SHORT_NAME)};
}

}  // namespace

PeFile::PeFile(std::string bytes) : m_bytes(std::move(bytes)) {
    const IMAGE_NT_HEADERS64 all = headers();
    if (get<IMAGE_DOS_HEADER>(0).e_magic != IMAGE_DOS_SIGNATURE ||
        all.Signature != IMAGE_NT_SIGNATURE || all.FileHeader.Machine != IMAGE_FILE_MACHINE_AMD64 ||
        all.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
        throw std::invalid_argument("not an executable for 64-bit Windows");
    }
}

void PeFile::expectInFile(size_t offset, size_t size) const {
    if (offset > m_bytes.size() || size > m_bytes.size() - offset) {
        throw std::out_of_range("beyond the end of the file");
    }
}

size_t PeFile::headersOffset() const {
    return static_cast<size_t>(get<IMAGE_DOS_HEADER>(0).e_lfanew);
}

IMAGE_NT_HEADERS64 PeFile::headers() const {
    return get<IMAGE_NT_HEADERS64>(headersOffset());
}

IMAGE_DATA_DIRECTORY PeFile::directory(unsigned index) const {
    return headers().OptionalHeader.DataDirectory[index];
}

std::vector<IMAGE_SECTION_HEADER> PeFile::sections() const {
    const IMAGE_FILE_HEADER file = headers().FileHeader;
    const size_t first = headersOffset() + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
                         file.SizeOfOptionalHeader;
    std::vector<IMAGE_SECTION_HEADER> all;
    for (size_t i = 0; i < file.NumberOfSections; ++i) {
        all.push_back(get<IMAGE_SECTION_HEADER>(first + i * sizeof(IMAGE_SECTION_HEADER)));
    }
    return all;
}

size_t PeFile::sectionOffset(const std::string& name) const {
    const std::vector<IMAGE_SECTION_HEADER> all = sections();
    for (size_t i = 0; i < all.size(); ++i) {
        if (nameOf(all[i]) != name) continue;
        return headersOffset() + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) +
               headers().FileHeader.SizeOfOptionalHeader + i * sizeof(IMAGE_SECTION_HEADER);
    }
    throw std::out_of_range("no section " + name);
}

IMAGE_SECTION_HEADER PeFile::section(const std::string& name) const {
    return get<IMAGE_SECTION_HEADER>(sectionOffset(name));
}

void PeFile::setSection(const IMAGE_SECTION_HEADER& section) {
    put(sectionOffset(nameOf(section)), section);
}

size_t PeFile::offsetOf(DWORD address) const {
    for (const IMAGE_SECTION_HEADER& section : sections()) {
        const DWORD distance = address - section.VirtualAddress;
        if (address >= section.VirtualAddress && distance < section.SizeOfRawData) {
            return section.PointerToRawData + distance;
        }
    }
    throw std::out_of_range("in no section of the file");
}

std::string PeFile::textAt(DWORD address) const {
    const size_t begin = offsetOf(address);
    const size_t end = m_bytes.find('\0', begin);
    expectInFile(end, 1);
    return m_bytes.substr(begin, end - begin);
}

void PeFile::writeText(DWORD address, const std::string& text) {
    const size_t begin = offsetOf(address);
    expectInFile(begin, text.size());
    m_bytes.replace(begin, text.size(), text);
}

DWORD PeFile::find(const IMAGE_SECTION_HEADER& section, const std::string& bytes) const {
    const std::string_view all(m_bytes);
    const size_t found = all.substr(section.PointerToRawData, section.SizeOfRawData).find(bytes);
    return found == std::string_view::npos ? 0 : section.VirtualAddress + static_cast<DWORD>(found);
}
