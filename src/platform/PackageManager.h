#pragma once

#include <asyncinfo.h>
#include <inspectable.h>

#include "platform/ComPointer.h"

#ifdef __GNUC__
#pragma GCC diagnostic push
// A COM interface must not have a virtual destructor: it would take places in the table.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// The parts of Windows.Management.Deployment and Windows.ApplicationModel that the program calls,
// as the system lays them out: a method's place decides. Unused methods stand as `UnusedN`, N being
// their place in the table.

inline constexpr wchar_t kPackageManagerClass[] = L"Windows.Management.Deployment.PackageManager";

struct PackageVersion {
    UINT16 Major;
    UINT16 Minor;
    UINT16 Build;
    UINT16 Revision;
};

struct IPackageId : IInspectable {
    static constexpr IID kId{
        0x1adb665e, 0x37c7, 0x4790, {0x99, 0x80, 0xdd, 0x7a, 0xe7, 0x4e, 0x8b, 0xb2}};

    virtual HRESULT STDMETHODCALLTYPE get_Name(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Version(PackageVersion* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused10() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused11() = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FullName(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FamilyName(HSTRING* value) = 0;
};

struct IStorageItem : IInspectable {
    static constexpr IID kId{
        0x4207a996, 0xca2f, 0x42f7, {0xbd, 0xe8, 0x8b, 0x10, 0x45, 0x7a, 0x7f, 0x30}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused10() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused11() = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Path(HSTRING* value) = 0;
};

// Only cast to IStorageItem, so its own methods are left out.
struct IStorageFolder : IInspectable {
    static constexpr IID kId{
        0x72d1cb78, 0xb3ef, 0x4f75, {0xa8, 0x0b, 0x6f, 0xd9, 0xda, 0xe2, 0x94, 0x4b}};
};

struct IPackage : IInspectable {
    static constexpr IID kId{
        0x163c792f, 0xbd75, 0x413c, {0xbf, 0x23, 0xb1, 0xfe, 0x7b, 0x95, 0xd8, 0x25}};

    virtual HRESULT STDMETHODCALLTYPE get_Id(IPackageId** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_InstalledLocation(IStorageFolder** value) = 0;
};

struct IPackageIterator : IInspectable {
    static constexpr IID kId{
        0x0217f069, 0x025c, 0x5ee6, {0xa8, 0x7f, 0xe7, 0x82, 0xe3, 0xb6, 0x23, 0xae}};

    virtual HRESULT STDMETHODCALLTYPE get_Current(IPackage** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_HasCurrent(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveNext(boolean* value) = 0;
};

struct IPackageIterable : IInspectable {
    static constexpr IID kId{
        0x69ad6aa7, 0x0c49, 0x5f27, {0xa5, 0xeb, 0xef, 0x4d, 0x59, 0x46, 0x7b, 0x6d}};

    virtual HRESULT STDMETHODCALLTYPE First(IPackageIterator** iterator) = 0;
};

struct IPackageManager : IInspectable {
    static constexpr IID kId{
        0x9a7d4b65, 0x5e8f, 0x4fc7, {0xa2, 0xe5, 0x7f, 0x69, 0x25, 0xcb, 0x8b, 0x53}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused10() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused11() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused12() = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByNamePublisher(HSTRING packageName,
                                                                  HSTRING packagePublisher,
                                                                  IPackageIterable** packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdNamePublisher(
        HSTRING userSid, HSTRING packageName, HSTRING packagePublisher,
        IPackageIterable** packages) = 0;
};

struct IDeploymentResult : IInspectable {
    static constexpr IID kId{
        0x2563b9ae, 0xb77d, 0x4c1f, {0x8a, 0x7b, 0x20, 0xe6, 0xad, 0x51, 0x5e, 0xf3}};

    virtual HRESULT STDMETHODCALLTYPE get_ErrorText(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ExtendedErrorCode(HRESULT* code) = 0;
};

struct IDeploymentOperation;

struct IDeploymentCompletedHandler : IUnknown {
    static constexpr IID kId{
        0x6e1c7129, 0x61e0, 0x5d88, {0x9f, 0xd4, 0xf3, 0xce, 0x65, 0xa0, 0x57, 0x19}};

    virtual HRESULT STDMETHODCALLTYPE Invoke(IDeploymentOperation* operation, AsyncStatus status) = 0;
};

// A deployment operation under way; its state is reached through IAsyncInfo.
struct IDeploymentOperation : IInspectable {
    static constexpr IID kId{
        0x5a97aab7, 0xb6ea, 0x55ac, {0xa5, 0xdc, 0xd5, 0xb1, 0x64, 0xd9, 0x4e, 0x94}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Completed(IDeploymentCompletedHandler* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResults(IDeploymentResult** result) = 0;
};

enum class RemovalOptions : UINT32 { None = 0, RemoveForAllUsers = 0x80000 };

struct IPackageManager2 : IInspectable {
    static constexpr IID kId{
        0xf7aad08d, 0x0840, 0x46f2, {0xb5, 0xd8, 0xca, 0xd4, 0x76, 0x93, 0xa0, 0x95}};

    virtual HRESULT STDMETHODCALLTYPE RemovePackageWithOptionsAsync(
        HSTRING packageFullName, RemovalOptions options, IDeploymentOperation** operation) = 0;
};

// From Windows 10, version 1809, on; older systems do not answer for it.
struct IPackageManager8 : IInspectable {
    static constexpr IID kId{
        0xb8575330, 0x1298, 0x4ee2, {0x80, 0xee, 0x7f, 0x65, 0x9c, 0x5d, 0x27, 0x82}};

    virtual HRESULT STDMETHODCALLTYPE DeprovisionPackageForAllUsersAsync(
        HSTRING packageFamilyName, IDeploymentOperation** operation) = 0;
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif
