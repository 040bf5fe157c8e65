#include "executable/Resources.h"

#include <memory>
#include <stdexcept>

#include "stand-in/Text.h"
#include "stand-in/Windows.h"
// Only behind the headers of Windows.
#include <xmllite.h>

using standin::toUtf8;
using standin::toWide;

namespace {

std::string versionText(DWORD high, DWORD low) {
    std::string text;
    for (const WORD part : {HIWORD(high), LOWORD(high), HIWORD(low), LOWORD(low)}) {
        text += (text.empty() ? "" : ".") + std::to_string(part);
    }
    return text;
}

class Library {
public:
    Library(const std::wstring& file, DWORD flags)
        : m_handle(::LoadLibraryExW(file.c_str(), nullptr, flags)) {
        if (m_handle == nullptr) throw std::invalid_argument("does not load: " + toUtf8(file));
    }
    ~Library() { ::FreeLibrary(m_handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    HMODULE get() const { return m_handle; }

private:
    HMODULE m_handle;
};

BOOL CALLBACK addManifest(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR manifests) {
    const HRSRC found = ::FindResourceW(module, name, type);
    const auto* const text = static_cast<const char*>(::LockResource(::LoadResource(module, found)));
    reinterpret_cast<std::vector<std::string>*>(manifests)->emplace_back(
        text, ::SizeofResource(module, found));
    return TRUE;
}

template <typename Interface>
struct Releaser {
    void operator()(Interface* object) const { object->Release(); }
};

std::string nameAt(IXmlReader& reader) {
    const wchar_t* text = nullptr;
    reader.GetNamespaceUri(&text, nullptr);
    const std::string space = toUtf8(text);
    reader.GetLocalName(&text, nullptr);
    return (space.empty() ? "" : "{" + space + "}") + toUtf8(text);
}

std::string valueAt(IXmlReader& reader) {
    const wchar_t* text = nullptr;
    reader.GetValue(&text, nullptr);
    return toUtf8(text);
}

// Declarations of namespaces are no attributes: they are in the names.
std::string attributesAt(IXmlReader& reader) {
    std::string all;
    for (HRESULT moved = reader.MoveToFirstAttribute(); moved == S_OK;
         moved = reader.MoveToNextAttribute()) {
        const std::string name = nameAt(reader);
        if (name == "xmlns" || name.starts_with("{http://www.w3.org/2000/xmlns/}")) continue;
        all += " " + name + "=" + valueAt(reader);
    }
    reader.MoveToElement();
    return all;
}

std::string pathOf(const std::vector<std::string>& names) {
    std::string path;
    for (const std::string& name : names)
        path += (path.empty() ? "" : "/") + name;
    return path;
}

// Takes the reader to the end.
std::vector<std::string> readElements(IXmlReader& reader) {
    std::vector<std::string> found;
    std::vector<std::string> open;
    XmlNodeType type = XmlNodeType_None;
    HRESULT read = S_OK;
    while ((read = reader.Read(&type)) == S_OK) {
        if (type == XmlNodeType_None) throw std::invalid_argument("ends too soon");
        if (type == XmlNodeType_Element) {
            open.push_back(nameAt(reader));
            found.push_back(pathOf(open) + attributesAt(reader));
            if (reader.IsEmptyElement()) open.pop_back();
        } else if (type == XmlNodeType_EndElement) {
            open.pop_back();
        } else if (type == XmlNodeType_Text || type == XmlNodeType_CDATA) {
            found.push_back(valueAt(reader));
        }
    }
    if (read != S_FALSE || !open.empty()) throw std::invalid_argument("not well formed");
    return found;
}

}  // namespace

std::map<std::string, std::string> versionOf(const std::wstring& file) {
    std::map<std::string, std::string> version;
    std::vector<BYTE> block(::GetFileVersionInfoSizeW(file.c_str(), nullptr));
    if (block.empty()) return version;
    ::GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(block.size()), block.data());
    void* value = nullptr;
    UINT size = 0;
    if (::VerQueryValueW(block.data(), L"\\", &value, &size)) {
        const auto& fixed = *static_cast<VS_FIXEDFILEINFO*>(value);
        version["FixedFileVersion"] = versionText(fixed.dwFileVersionMS, fixed.dwFileVersionLS);
        version["FixedProductVersion"] = versionText(fixed.dwProductVersionMS,
                                                     fixed.dwProductVersionLS);
    }
    for (const char* name : {"CompanyName", "FileDescription", "FileVersion", "InternalName",
                             "OriginalFilename", "ProductName", "ProductVersion"}) {
        const std::wstring path = L"\\StringFileInfo\\040904B0\\" + toWide(name);
        if (::VerQueryValueW(block.data(), path.c_str(), &value, &size)) {
            version[name] = toUtf8(static_cast<const wchar_t*>(value));
        }
    }
    return version;
}

std::vector<std::string> manifestsOf(const std::wstring& file) {
    const Library module(file, LOAD_LIBRARY_AS_DATAFILE);
    std::vector<std::string> manifests;
    ::EnumResourceNamesW(module.get(), RT_MANIFEST, &addManifest,
                         reinterpret_cast<LONG_PTR>(&manifests));
    return manifests;
}

std::vector<std::string> elementsOf(const std::string& xml) {
    const Library library(L"xmllite.dll", 0);
    const auto create = reinterpret_cast<decltype(&::CreateXmlReader)>(
        reinterpret_cast<void*>(::GetProcAddress(library.get(), "CreateXmlReader")));
    void* object = nullptr;
    if (create == nullptr || create(__uuidof(IXmlReader), &object, nullptr) != S_OK) {
        throw std::logic_error("no XML reader");
    }
    const std::unique_ptr<IXmlReader, Releaser<IXmlReader>> reader(static_cast<IXmlReader*>(object));
    const std::unique_ptr<IStream, Releaser<IStream>> stream(::SHCreateMemStream(
        reinterpret_cast<const BYTE*>(xml.data()), static_cast<UINT>(xml.size())));
    reader->SetInput(stream.get());
    return readElements(*reader);
}
