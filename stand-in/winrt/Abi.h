#pragma once

#include "../ErrorInfo.h"
#include "../Windows.h"

// The interfaces of the Windows Runtime that the machine implements, slot by slot.

// COM interfaces have no virtual destructor: it would take slots of its own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace standin::abi {

template <typename Interface>
inline constexpr GUID kIid{};

template <>
inline constexpr GUID kIid<IUnknown>{
    0x00000000, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
template <>
inline constexpr GUID kIid<IInspectable>{
    0xaf86e2e0, 0xb12d, 0x4c6a, {0x9c, 0x5a, 0xd7, 0xaa, 0x65, 0x10, 0x1e, 0x90}};
template <>
inline constexpr GUID kIid<IActivationFactory>{
    0x00000035, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
template <>
inline constexpr GUID kIid<IAgileObject>{
    0x94ea2b94, 0xe9cc, 0x49e0, {0xc0, 0xff, 0xee, 0x64, 0xca, 0x8f, 0x5b, 0x90}};
template <>
inline constexpr GUID kIid<IRestrictedErrorInfo>{
    0x82ba7092, 0x4c88, 0x427d, {0xa7, 0xbc, 0x16, 0xdd, 0x93, 0xfe, 0xb6, 0x7e}};

template <typename T>
struct IIterator : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Current(T* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_HasCurrent(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveNext(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMany(UINT32 capacity, T* items, UINT32* actual) = 0;
};

template <typename T>
struct IIterable : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE First(IIterator<T>** iterator) = 0;
};

struct PackageVersion {
    UINT16 Major;
    UINT16 Minor;
    UINT16 Build;
    UINT16 Revision;
};

struct IPackageId : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Name(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Version(PackageVersion* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Architecture(INT32* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ResourceId(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Publisher(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_PublisherId(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FullName(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FamilyName(HSTRING* value) = 0;
};

// The machine's folders offer their path alone; every other slot is there to keep the order.
struct IStorageFolder : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE CreateFileAsyncOverloadDefaultOptions(HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateFileAsync(HSTRING, INT32, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateFolderAsyncOverloadDefaultOptions(HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateFolderAsync(HSTRING, INT32, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFileAsync(HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFolderAsync(HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemAsync(HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFilesAsyncOverloadDefaultOptionsStartAndCount(IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFoldersAsyncOverloadDefaultOptionsStartAndCount(IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemsAsyncOverloadDefaultStartAndCount(IUnknown**) = 0;
};

struct IStorageItem : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE RenameAsyncOverloadDefaultOptions(HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameAsync(HSTRING, INT32, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAsyncOverloadDefaultOptions(IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAsync(INT32, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBasicPropertiesAsync(IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Name(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Path(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Attributes(UINT32* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_DateCreated(INT64* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsOfType(UINT32 type, boolean* value) = 0;
};

struct IPackage : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Id(IPackageId** id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_InstalledLocation(IStorageFolder** folder) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_IsFramework(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Dependencies(IUnknown** value) = 0;
};

using Packages = IIterable<IPackage*>;
using PackageIterator = IIterator<IPackage*>;

struct IPackageManager : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE AddPackageAsync(IUnknown*, IUnknown*, UINT32, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdatePackageAsync(IUnknown*, IUnknown*, UINT32, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemovePackageAsync(HSTRING fullName, IUnknown** operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE StagePackageAsync(IUnknown*, IUnknown*, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterPackageAsync(IUnknown*, IUnknown*, UINT32,
                                                           IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackages(Packages** packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityId(HSTRING user,
                                                                   Packages** packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByNamePublisher(HSTRING name, HSTRING publisher,
                                                                  Packages** packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdNamePublisher(
        HSTRING user, HSTRING name, HSTRING publisher, Packages** packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindUsers(HSTRING fullName, IUnknown** users) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPackageState(HSTRING fullName, INT32 packageState) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackageByPackageFullName(HSTRING fullName,
                                                                   IPackage** package) = 0;
    virtual HRESULT STDMETHODCALLTYPE CleanupPackageForUserAsync(HSTRING, HSTRING, IUnknown**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByPackageFamilyName(HSTRING, Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdPackageFamilyName(HSTRING, HSTRING,
                                                                                    Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackageByUserSecurityIdPackageFullName(HSTRING, HSTRING,
                                                                                 IPackage**) = 0;
};

template <>
inline constexpr GUID kIid<Packages>{
    0x69ad6aa7, 0x0c49, 0x5f27, {0xa5, 0xeb, 0xef, 0x4d, 0x59, 0x46, 0x7b, 0x6d}};
template <>
inline constexpr GUID kIid<PackageIterator>{
    0x0217f069, 0x025c, 0x5ee6, {0xa8, 0x7f, 0xe7, 0x82, 0xe3, 0xb6, 0x23, 0xae}};
template <>
inline constexpr GUID kIid<IPackageId>{
    0x1adb665e, 0x37c7, 0x4790, {0x99, 0x80, 0xdd, 0x7a, 0xe7, 0x4e, 0x8b, 0xb2}};
template <>
inline constexpr GUID kIid<IPackage>{
    0x163c792f, 0xbd75, 0x413c, {0xbf, 0x23, 0xb1, 0xfe, 0x7b, 0x95, 0xd8, 0x25}};
template <>
inline constexpr GUID kIid<IStorageFolder>{
    0x72d1cb78, 0xb3ef, 0x4f75, {0xa8, 0x0b, 0x6f, 0xd9, 0xda, 0xe2, 0x94, 0x4b}};
template <>
inline constexpr GUID kIid<IStorageItem>{
    0x4207a996, 0xca2f, 0x42f7, {0xbd, 0xe8, 0x8b, 0x10, 0x45, 0x7a, 0x7f, 0x30}};
template <>
inline constexpr GUID kIid<IPackageManager>{
    0x9a7d4b65, 0x5e8f, 0x4fc7, {0xa2, 0xe5, 0x7f, 0x69, 0x25, 0xcb, 0x8b, 0x53}};

}  // namespace standin::abi

#pragma GCC diagnostic pop
