#pragma once

#include <asyncinfo.h>

#include "Abi.h"

// The interfaces of package deployment and its asynchronous operations, slot by slot.

// COM interfaces have no virtual destructor: it would take slots of its own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace standin::abi {

struct IDeploymentResult : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_ErrorText(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ActivityId(GUID* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ExtendedErrorCode(HRESULT* value) = 0;
};

struct IDeploymentOperation;

struct IDeploymentCompletedHandler : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Invoke(IDeploymentOperation* operation, AsyncStatus status) = 0;
};

// IAsyncOperationWithProgress<DeploymentResult, DeploymentProgress>
struct IDeploymentOperation : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE put_Progress(IUnknown* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Progress(IUnknown** handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Completed(IDeploymentCompletedHandler* handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Completed(IDeploymentCompletedHandler** handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResults(IDeploymentResult** result) = 0;
};

struct IPackageManager2 : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE RemovePackageWithOptionsAsync(
        HSTRING fullName, UINT32 options, IDeploymentOperation** operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE StagePackageWithOptionsAsync(IUnknown*, IUnknown*, UINT32,
                                                                   IDeploymentOperation**) = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterPackageByFullNameAsync(HSTRING, IUnknown*, UINT32,
                                                                     IDeploymentOperation**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesWithPackageTypes(UINT32, Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdWithPackageTypes(HSTRING, UINT32,
                                                                                   Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByNamePublisherWithPackageTypes(HSTRING, HSTRING,
                                                                                  UINT32,
                                                                                  Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdNamePublisherWithPackageTypes(
        HSTRING, HSTRING, HSTRING, UINT32, Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByPackageFamilyNameWithPackageTypes(HSTRING, UINT32,
                                                                                      Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityIdPackageFamilyNameWithPackageTypes(
        HSTRING, HSTRING, UINT32, Packages**) = 0;
    virtual HRESULT STDMETHODCALLTYPE StageUserDataAsync(HSTRING, IDeploymentOperation**) = 0;
};

struct IPackageManager8 : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE
    DeprovisionPackageForAllUsersAsync(HSTRING familyName, IDeploymentOperation** operation) = 0;
};

template <>
inline constexpr GUID kIid<IAsyncInfo>{
    0x00000036, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
template <>
inline constexpr GUID kIid<IDeploymentResult>{
    0x2563b9ae, 0xb77d, 0x4c1f, {0x8a, 0x7b, 0x20, 0xe6, 0xad, 0x51, 0x5e, 0xf3}};
template <>
inline constexpr GUID kIid<IDeploymentOperation>{
    0x5a97aab7, 0xb6ea, 0x55ac, {0xa5, 0xdc, 0xd5, 0xb1, 0x64, 0xd9, 0x4e, 0x94}};
template <>
inline constexpr GUID kIid<IDeploymentCompletedHandler>{
    0x6e1c7129, 0x61e0, 0x5d88, {0x9f, 0xd4, 0xf3, 0xce, 0x65, 0xa0, 0x57, 0x19}};
template <>
inline constexpr GUID kIid<IPackageManager2>{
    0xf7aad08d, 0x0840, 0x46f2, {0xb5, 0xd8, 0xca, 0xd4, 0x76, 0x93, 0xa0, 0x95}};
template <>
inline constexpr GUID kIid<IPackageManager8>{
    0xb8575330, 0x1298, 0x4ee2, {0x80, 0xee, 0x7f, 0x65, 0x9c, 0x5d, 0x27, 0x82}};

}  // namespace standin::abi

#pragma GCC diagnostic pop
