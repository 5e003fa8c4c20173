// restore_point_test - the System Restore point and the security of the process's COM calls.
#include "app/restore_point.h"

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <aclapi.h>
#include <objbase.h>
#include <srrestoreptapi.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Where the library comes from: the machine itself, nowhere, a library without the function, or this program, which
// exports the function below.
enum class Library { Machine, Missing, WithoutFunction, Scripted };
Library library;

struct Answer {
  BOOL result;
  UINT status;
  INT64 number;
};
std::vector<Answer> answers;  // one for each call
struct Call {
  DWORD eventType;
  DWORD restorePointType;
  INT64 number;
  std::wstring description;

  bool operator==(const Call&) const = default;
};
std::vector<Call> calls;

std::optional<HRESULT> initialisation;  // replaces the result of CoInitializeEx
std::optional<HRESULT> securityResult;  // replaces the result of CoInitializeSecurity
std::optional<DWORD> apartment;
int uninitialised;
int loaded, freed;

// The arguments of CoInitializeSecurity.
struct Security {
  std::vector<BYTE> owner, group;
  std::vector<std::vector<BYTE>> allowed;
  std::vector<DWORD> rights;
  std::vector<BYTE> flags;
  LONG services;
  DWORD authentication, impersonation, capabilities;
  bool hasOthers;
};
std::optional<Security> security;

std::vector<BYTE> wellKnownSid(int type) {
  std::vector<BYTE> sid(SECURITY_MAX_SID_SIZE);
  DWORD size = static_cast<DWORD>(sid.size());
  ::CreateWellKnownSid(static_cast<WELL_KNOWN_SID_TYPE>(type), nullptr, sid.data(), &size);
  sid.resize(size);
  return sid;
}

std::vector<BYTE> bytesOf(PSID sid) {
  const BYTE* bytes = static_cast<const BYTE*>(sid);
  return sid ? std::vector<BYTE>(bytes, bytes + ::GetLengthSid(sid)) : std::vector<BYTE>();
}

Security describe(PSECURITY_DESCRIPTOR descriptor) {
  Security result = {};
  PSID sid = nullptr;
  BOOL defaulted = FALSE;
  BOOL present = FALSE;
  ACL* list = nullptr;
  ::GetSecurityDescriptorOwner(descriptor, &sid, &defaulted);
  result.owner = bytesOf(sid);
  ::GetSecurityDescriptorGroup(descriptor, &sid, &defaulted);
  result.group = bytesOf(sid);
  ::GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted);
  for (DWORD index = 0; present && list && index < list->AceCount; ++index) {
    void* entry = nullptr;
    ::GetAce(list, index, &entry);
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    EXPECT_EQ(allowed->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    result.allowed.push_back(bytesOf(&allowed->SidStart));
    result.rights.push_back(allowed->Mask);
    result.flags.push_back(allowed->Header.AceFlags);
  }
  return result;
}

class RestorePoint : public ::testing::Test {
 protected:
  void SetUp() override {
    library = Library::Scripted;
    answers.clear();
    calls.clear();
    initialisation.reset();
    securityResult = S_OK;
    apartment.reset();
    uninitialised = 0;
    loaded = 0;
    freed = 0;
    security.reset();
  }
  void TearDown() override {
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(freed, loaded) << "the library was left loaded";
  }

  // Creates a restore point; returns what was printed to standard output.
  static std::string make() {
    ::testing::internal::CaptureStdout();
    createRestorePoint();
    EXPECT_EQ(uninitialised, 1);
    return ::testing::internal::GetCapturedStdout();
  }

  CapturedLog log;
};

using ComSecurity = RestorePoint;

}  // namespace

// The scripted System Restore.
extern "C" __declspec(dllexport) BOOL WINAPI SRSetRestorePointW(RESTOREPOINTINFOW* info, STATEMGRSTATUS* status) {
  calls.push_back({info->dwEventType, info->dwRestorePtType, info->llSequenceNumber, info->szDescription});
  const Answer answer = answers.at(calls.size() - 1);
  status->nStatus = answer.status;
  status->llSequenceNumber = answer.number;
  return answer.result;
}

LINK_SEAM(HMODULE, LoadLibraryExW, (const wchar_t* name, HANDLE file, DWORD flags)) {
  const auto real = realFunction<decltype(&::LoadLibraryExW)>(L"kernel32.dll", "LoadLibraryExW");
  if (std::wstring(name) != L"srclient.dll") {
    return real(name, file, flags);
  }
  if (library == Library::Missing) {
    ::SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  ++loaded;
  switch (library) {
    case Library::Machine:
      return real(name, file, flags);
    case Library::WithoutFunction:
      return real(L"shlwapi.dll", file, flags);
    default:
      return ::GetModuleHandleW(nullptr);
  }
}

LINK_SEAM(BOOL, FreeLibrary, (HMODULE module)) {
  ++freed;
  return module == ::GetModuleHandleW(nullptr)
             ? TRUE
             : realFunction<decltype(&::FreeLibrary)>(L"kernel32.dll", "FreeLibrary")(module);
}

LINK_SEAM(HRESULT, CoInitializeEx, (void* reserved, DWORD flags)) {
  apartment = flags;
  return initialisation ? *initialisation
                        : realFunction<decltype(&::CoInitializeEx)>(L"ole32.dll", "CoInitializeEx")(reserved, flags);
}

LINK_SEAM(void, CoUninitialize, ()) {
  ++uninitialised;
  if (!initialisation) {
    realFunction<decltype(&::CoUninitialize)>(L"ole32.dll", "CoUninitialize")();
  }
}

LINK_SEAM(HRESULT, CoInitializeSecurity,
          (PSECURITY_DESCRIPTOR descriptor, LONG services, SOLE_AUTHENTICATION_SERVICE* serviceList, void* reserved1,
           DWORD authentication, DWORD impersonation, void* authenticationList, DWORD capabilities, void* reserved3)) {
  security = describe(descriptor);
  security->services = services;
  security->authentication = authentication;
  security->impersonation = impersonation;
  security->capabilities = capabilities;
  security->hasOthers = serviceList || reserved1 || authenticationList || reserved3;
  return securityResult ? *securityResult
                        : realFunction<decltype(&::CoInitializeSecurity)>(L"ole32.dll", "CoInitializeSecurity")(
                              descriptor, services, serviceList, reserved1, authentication, impersonation,
                              authenticationList, capabilities, reserved3);
}

TEST_F(ComSecurity, MachineAcceptsIt) {
  securityResult.reset();
  ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  EXPECT_TRUE(configureComSecurity());
  ::CoUninitialize();
}

TEST_F(ComSecurity, AdministratorsAndTheSystemsOwnAccountsMayCall) {
  EXPECT_TRUE(configureComSecurity());
  ASSERT_TRUE(security);
  const auto administrators = wellKnownSid(26);
  EXPECT_EQ(security->owner, administrators);
  EXPECT_EQ(security->group, administrators);
  EXPECT_THAT(security->allowed, ::testing::UnorderedElementsAre(administrators, wellKnownSid(23), wellKnownSid(24),
                                                                 wellKnownSid(16), wellKnownSid(22)));
  EXPECT_EQ(security->rights, std::vector<DWORD>(5, 3));
  EXPECT_EQ(security->flags, std::vector<BYTE>(5, 0)) << "nothing is inherited";
}

TEST_F(ComSecurity, CallsArePrivateAndIdentify) {
  EXPECT_TRUE(configureComSecurity());
  ASSERT_TRUE(security);
  EXPECT_EQ(security->services, -1);
  EXPECT_EQ(security->authentication, 6u);
  EXPECT_EQ(security->impersonation, 2u);
  EXPECT_EQ(security->capabilities, 0x3000u);
  EXPECT_FALSE(security->hasOthers);
}

TEST_F(ComSecurity, RefusalIsAFailure) {
  securityResult = RPC_E_TOO_LATE;
  EXPECT_FALSE(configureComSecurity());
}

TEST_F(RestorePoint, IsBegunAndEndedAtOnce) {
  answers = {{TRUE, 0, 77}, {TRUE, 0, 77}};
  EXPECT_EQ(make(), "Restore point created; number=77.\n");
  EXPECT_THAT(calls, ElementsAre(Call{100, 0, 0, L"ORVCleanupUtility Restore Point"},
                                 Call{101, 0, 77, L"ORVCleanupUtility Restore Point"}));
  EXPECT_EQ(apartment, static_cast<DWORD>(COINIT_MULTITHREADED));
  EXPECT_EQ(loaded, 1);
}

TEST_F(RestorePoint, NumberMayBeLarge) {
  answers = {{TRUE, 0, 5'000'000'123}, {TRUE, 0, 0}};
  EXPECT_EQ(make(), "Restore point created; number=5000000123.\n");
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1].number, 5'000'000'123);
}

TEST_F(RestorePoint, SystemRestoreIsTurnedOff) {
  answers = {{FALSE, ERROR_SERVICE_DISABLED, 0}};
  EXPECT_EQ(make(), "System Restore is turned off.\n");
  EXPECT_EQ(calls.size(), 1u);
  EXPECT_EQ(loaded, 1);
}

TEST_F(RestorePoint, OtherFailureIsPrintedWithItsStatus) {
  answers = {{FALSE, 112, 9}};
  EXPECT_EQ(make(), "Failure to create the restore point; error=112.\n");
  answers = {{FALSE, 112, 9}, {FALSE, 0xC0000005, 9}};
  uninitialised = 0;
  EXPECT_EQ(make(), "Failure to create the restore point; error=3221225477.\n");
}

TEST_F(RestorePoint, FailureToEndIsPrintedToo) {
  answers = {{TRUE, 0, 8}, {FALSE, ERROR_SERVICE_DISABLED, 0}};
  EXPECT_EQ(make(), "Restore point created; number=8.\nFailure to end the restore point; error=1058.\n");
}

TEST_F(RestorePoint, LibraryIsMissing) {
  library = Library::Missing;
  EXPECT_EQ(make(), "System Restore is not present.\n");
}

TEST_F(RestorePoint, LibraryLacksTheFunction) {
  library = Library::WithoutFunction;
  EXPECT_EQ(make(), "Failed to find SRSetRestorePointW.\n");
  EXPECT_EQ(loaded, 1);
}

TEST_F(RestorePoint, ComCannotBeInitialised) {
  initialisation = RPC_E_CHANGED_MODE;
  EXPECT_EQ(make(), "Unexpected error: CoInitializeEx() failed with 0x80010106\n");
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_FALSE(security);
}

TEST_F(RestorePoint, ComSecurityCannotBeSet) {
  securityResult = E_ACCESSDENIED;
  EXPECT_EQ(make(), "Unexpected error: failed to initialize COM security\n");
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_EQ(loaded, 0);
}

TEST_F(RestorePoint, BenchMachineHasNoSystemRestore) {
  library = Library::Machine;
  EXPECT_EQ(make(), "Failure to create the restore point; error=0.\n");
}
