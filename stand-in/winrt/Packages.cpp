#include "Packages.h"

#include <vector>

#include "Object.h"

namespace standin {

namespace {

template <typename Interface, typename Made>
HRESULT give(Interface** result, Made make) {
    if (result == nullptr) return E_POINTER;
    *result = make();
    return S_OK;
}

class PackageId : public RuntimeObject<abi::IPackageId> {
public:
    explicit PackageId(InstalledPackage package)
        : RuntimeObject("PackageId"), m_package(std::move(package)) {}

    HRESULT STDMETHODCALLTYPE get_Name(HSTRING* value) override {
        return text("IPackageId::get_Name", m_package.name, value);
    }
    HRESULT STDMETHODCALLTYPE get_Version(abi::PackageVersion* value) override {
        return callMethod(identity(), "IPackageId::get_Version", {}, [&] {
            if (value == nullptr) return E_POINTER;
            const PackageVersionNumbers& version = m_package.version;
            *value = {version.major, version.minor, version.build, version.revision};
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_Architecture(INT32*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_ResourceId(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Publisher(HSTRING* value) override {
        return text("IPackageId::get_Publisher", m_package.publisher, value);
    }
    HRESULT STDMETHODCALLTYPE get_PublisherId(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_FullName(HSTRING* value) override {
        return text("IPackageId::get_FullName", m_package.fullName, value);
    }
    HRESULT STDMETHODCALLTYPE get_FamilyName(HSTRING* value) override {
        return text("IPackageId::get_FamilyName", m_package.familyName, value);
    }

private:
    HRESULT text(const char* method, const std::wstring& content, HSTRING* value) {
        return callMethod(identity(), method, {}, [&] { return giveString(content, value); });
    }

    const InstalledPackage m_package;
};

class StorageFolder : public RuntimeObject<abi::IStorageFolder, abi::IStorageItem> {
public:
    explicit StorageFolder(std::wstring path)
        : RuntimeObject("StorageFolder"), m_path(std::move(path)) {}

    HRESULT STDMETHODCALLTYPE get_Path(HSTRING* value) override {
        return callMethod(identity(), "IStorageItem::get_Path", {},
                          [&] { return giveString(m_path, value); });
    }
    HRESULT STDMETHODCALLTYPE get_Name(HSTRING* value) override {
        return callMethod(identity(), "IStorageItem::get_Name", {}, [&] {
            return giveString(m_path.substr(m_path.find_last_of(L'\\') + 1), value);
        });
    }

    HRESULT STDMETHODCALLTYPE CreateFileAsyncOverloadDefaultOptions(HSTRING, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateFileAsync(HSTRING, INT32, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateFolderAsyncOverloadDefaultOptions(HSTRING, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateFolderAsync(HSTRING, INT32, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetFileAsync(HSTRING, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFolderAsync(HSTRING, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetItemAsync(HSTRING, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFilesAsyncOverloadDefaultOptionsStartAndCount(IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetFoldersAsyncOverloadDefaultOptionsStartAndCount(IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetItemsAsyncOverloadDefaultStartAndCount(IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RenameAsyncOverloadDefaultOptions(HSTRING, IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RenameAsync(HSTRING, INT32, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteAsyncOverloadDefaultOptions(IUnknown**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteAsync(INT32, IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetBasicPropertiesAsync(IUnknown**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Attributes(UINT32*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_DateCreated(INT64*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsOfType(UINT32, boolean*) override { return E_NOTIMPL; }

private:
    const std::wstring m_path;
};

class Package : public RuntimeObject<abi::IPackage> {
public:
    explicit Package(InstalledPackage package)
        : RuntimeObject("Package"), m_package(std::move(package)) {}

    HRESULT STDMETHODCALLTYPE get_Id(abi::IPackageId** id) override {
        return callMethod(identity(), "IPackage::get_Id", {}, [&] {
            return give(id, [&] { return makeObject<PackageId>(m_package); });
        });
    }
    HRESULT STDMETHODCALLTYPE get_InstalledLocation(abi::IStorageFolder** folder) override {
        return callMethod(identity(), "IPackage::get_InstalledLocation", {}, [&] {
            if (folder == nullptr) return E_POINTER;
            const DWORD attributes = ::GetFileAttributesW(m_package.installPath.c_str());
            if (attributes == INVALID_FILE_ATTRIBUTES)
                return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
            *folder = makeObject<StorageFolder>(m_package.installPath);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_IsFramework(boolean*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Dependencies(IUnknown**) override { return E_NOTIMPL; }

private:
    const InstalledPackage m_package;
};

class Iterator : public RuntimeObject<abi::PackageIterator> {
public:
    explicit Iterator(std::vector<InstalledPackage> packages)
        : RuntimeObject("Iterator"), m_packages(std::move(packages)) {}

    HRESULT STDMETHODCALLTYPE get_Current(abi::IPackage** value) override {
        return callMethod(identity(), "IIterator<Package>::get_Current", {}, [&] {
            if (value == nullptr) return E_POINTER;
            if (m_next >= m_packages.size()) return static_cast<HRESULT>(0x8000000B);  // E_BOUNDS
            *value = makeObject<Package>(m_packages[m_next]);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_HasCurrent(boolean* value) override {
        return callMethod(identity(), "IIterator<Package>::get_HasCurrent", {},
                          [&] { return hasCurrent(value); });
    }
    HRESULT STDMETHODCALLTYPE MoveNext(boolean* value) override {
        return callMethod(identity(), "IIterator<Package>::MoveNext", {}, [&] {
            if (value == nullptr) return E_POINTER;
            if (m_next < m_packages.size()) ++m_next;
            return hasCurrent(value);
        });
    }
    HRESULT STDMETHODCALLTYPE GetMany(UINT32, abi::IPackage**, UINT32*) override {
        return E_NOTIMPL;
    }

private:
    HRESULT hasCurrent(boolean* value) const {
        if (value == nullptr) return E_POINTER;
        *value = m_next < m_packages.size() ? 1 : 0;
        return S_OK;
    }

    const std::vector<InstalledPackage> m_packages;
    size_t m_next = 0;
};

class Iterable : public RuntimeObject<abi::Packages> {
public:
    explicit Iterable(std::vector<InstalledPackage> packages)
        : RuntimeObject("Iterable"), m_packages(std::move(packages)) {}

    HRESULT STDMETHODCALLTYPE First(abi::PackageIterator** iterator) override {
        return callMethod(identity(), "IIterable<Package>::First", {}, [&] {
            return give(iterator, [&] { return makeObject<Iterator>(m_packages); });
        });
    }

private:
    const std::vector<InstalledPackage> m_packages;
};

}  // namespace

HRESULT givePackages(const std::function<bool(const InstalledPackage&)>& isWanted,
                     abi::Packages** packages) {
    return give(packages, [&] {
        std::vector<InstalledPackage> wanted;
        for (const InstalledPackage& package : Machine::get().state.packages) {
            if (isWanted(package)) wanted.push_back(package);
        }
        return makeObject<Iterable>(std::move(wanted));
    });
}

}  // namespace standin
