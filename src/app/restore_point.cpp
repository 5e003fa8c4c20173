#include "app/restore_point.h"

#include <array>
#include <cstdio>
#include <cwchar>

#include <windows.h>

#include <aclapi.h>
#include <objbase.h>
#include <srrestoreptapi.h>

#include "system/handles.h"

namespace {

constexpr wchar_t kDescription[] = L"ORVCleanupUtility Restore Point";

using SetRestorePoint = BOOL(WINAPI*)(RESTOREPOINTINFOW*, STATEMGRSTATUS*);

void reportFailure(const STATEMGRSTATUS& status) {
  if (status.nStatus == ERROR_SERVICE_DISABLED) {
    std::printf("System Restore is turned off.\n");
  } else {
    std::printf("Failure to create the restore point; error=%u.\n", static_cast<unsigned>(status.nStatus));
  }
}

// Begins the system change and ends it before anything is removed, so that the restore point is of the untouched
// machine.
void makeRestorePoint(SetRestorePoint setRestorePoint) {
  RESTOREPOINTINFOW info = {};
  info.dwEventType = BEGIN_SYSTEM_CHANGE;
  info.dwRestorePtType = APPLICATION_INSTALL;
  info.llSequenceNumber = 0;
  std::wcsncpy(info.szDescription, kDescription, MAX_DESC_W - 1);
  STATEMGRSTATUS status = {};
  if (!setRestorePoint(&info, &status)) {
    reportFailure(status);
    return;
  }
  std::printf("Restore point created; number=%lld.\n", static_cast<long long>(status.llSequenceNumber));
  info.dwEventType = END_SYSTEM_CHANGE;
  info.llSequenceNumber = status.llSequenceNumber;
  if (!setRestorePoint(&info, &status)) {
    std::printf("Failure to end the restore point; error=%u.\n", static_cast<unsigned>(status.nStatus));
  }
}

void callSystemRestore() {
  const LibraryHandle library(::LoadLibraryExW(L"srclient.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!library) {
    std::printf("System Restore is not present.\n");
    return;
  }
  const auto setRestorePoint =
      reinterpret_cast<SetRestorePoint>(reinterpret_cast<void*>(::GetProcAddress(library.get(), "SRSetRestorePointW")));
  if (!setRestorePoint) {
    std::printf("Failed to find SRSetRestorePointW.\n");
    return;
  }
  makeRestorePoint(setRestorePoint);
}

// Set once by prepareComSecurity; COM security lasts as long as the process.
bool securityWasPrepared = false;

struct WellKnownSid {
  BYTE bytes[SECURITY_MAX_SID_SIZE];
};

}  // namespace

void prepareComSecurity() {
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  securityWasPrepared = configureComSecurity() || securityWasPrepared;
}

void createRestorePoint() {
  const HRESULT initialised = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  // Security is set again even if it was prepared: it may be lost when the last thread has left COM. If it is still
  // set, the call is refused, which is fine.
  if (FAILED(initialised)) {
    std::printf("Unexpected error: CoInitializeEx() failed with 0x%08x\n", static_cast<unsigned>(initialised));
  } else if (!configureComSecurity() && !securityWasPrepared) {
    std::printf("Unexpected error: failed to initialize COM security\n");
  } else {
    callSystemRestore();
  }
  ::CoUninitialize();
}

bool configureComSecurity() {
  constexpr std::array<WELL_KNOWN_SID_TYPE, 5> kAllowed = {WinBuiltinAdministratorsSid, WinLocalServiceSid,
                                                           WinNetworkServiceSid, WinSelfSid, WinLocalSystemSid};
  constexpr DWORD kRights = COM_RIGHTS_EXECUTE | COM_RIGHTS_EXECUTE_LOCAL;

  SECURITY_DESCRIPTOR descriptor = {};
  if (!::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION)) {
    return false;
  }
  std::array<WellKnownSid, kAllowed.size()> sids = {};
  std::array<EXPLICIT_ACCESS_W, kAllowed.size()> entries = {};
  for (std::size_t i = 0; i < kAllowed.size(); ++i) {
    DWORD size = sizeof(sids[i].bytes);
    if (!::CreateWellKnownSid(kAllowed[i], nullptr, sids[i].bytes, &size)) {
      return false;
    }
    entries[i].grfAccessPermissions = kRights;
    entries[i].grfAccessMode = SET_ACCESS;
    entries[i].grfInheritance = NO_INHERITANCE;
    entries[i].Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entries[i].Trustee.TrusteeType = TRUSTEE_IS_GROUP;
    entries[i].Trustee.ptstrName = reinterpret_cast<wchar_t*>(sids[i].bytes);
  }
  ACL* list = nullptr;
  if (::SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(), nullptr, &list) != ERROR_SUCCESS) {
    return false;
  }
  const LocalMemory owner(list);
  void* const administrators = sids[0].bytes;
  return ::SetSecurityDescriptorOwner(&descriptor, administrators, FALSE) &&
         ::SetSecurityDescriptorGroup(&descriptor, administrators, FALSE) &&
         ::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE) &&
         SUCCEEDED(::CoInitializeSecurity(&descriptor, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                          RPC_C_IMP_LEVEL_IDENTIFY, nullptr, EOAC_DISABLE_AAA | EOAC_NO_CUSTOM_MARSHAL,
                                          nullptr));
}
