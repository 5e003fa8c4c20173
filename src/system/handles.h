// handles - owners for every kind of Windows handle that the program opens. A new kind of handle gets its traits here,
// so that no close call is written by hand. Knows nothing of what the handles are used for.
#pragma once

#include <utility>

#include <windows.h>

#include <setupapi.h>

// Owns one handle and closes it at the end of its scope. release() gives up ownership, for the few handles that stay
// open on purpose.
template <class Traits>
class UniqueHandle {
 public:
  using Type = typename Traits::Type;

  explicit UniqueHandle(Type handle = Traits::empty()) : handle_(handle) {}
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) {
      reset(other.release());
    }
    return *this;
  }
  ~UniqueHandle() { reset(); }

  explicit operator bool() const { return handle_ != Traits::empty(); }
  Type get() const { return handle_; }
  Type release() { return std::exchange(handle_, Traits::empty()); }
  void reset(Type handle = Traits::empty()) {
    if (handle_ != Traits::empty()) {
      Traits::close(handle_);
    }
    handle_ = handle;
  }
  // Closes the handle and returns the address at which a call can store a new one.
  Type* put() {
    reset();
    return &handle_;
  }

 private:
  Type handle_;
};

struct KernelHandleTraits {
  using Type = HANDLE;
  static Type empty() { return nullptr; }
  static void close(Type handle) { ::CloseHandle(handle); }
};
// Processes, threads, mutexes, pipes, file mappings, tokens.
using KernelHandle = UniqueHandle<KernelHandleTraits>;

struct FileHandleTraits {
  using Type = HANDLE;
  static Type empty() { return INVALID_HANDLE_VALUE; }
  static void close(Type handle) { ::CloseHandle(handle); }
};
using FileHandle = UniqueHandle<FileHandleTraits>;

struct FindHandleTraits {
  using Type = HANDLE;
  static Type empty() { return INVALID_HANDLE_VALUE; }
  static void close(Type handle) { ::FindClose(handle); }
};
using FindHandle = UniqueHandle<FindHandleTraits>;

struct RegistryKeyTraits {
  using Type = HKEY;
  static Type empty() { return nullptr; }
  static void close(Type key) { ::RegCloseKey(key); }
};
using RegistryKey = UniqueHandle<RegistryKeyTraits>;

struct ServiceHandleTraits {
  using Type = SC_HANDLE;
  static Type empty() { return nullptr; }
  static void close(Type handle) { ::CloseServiceHandle(handle); }
};
// The service control manager and single services.
using ServiceHandle = UniqueHandle<ServiceHandleTraits>;

struct LibraryHandleTraits {
  using Type = HMODULE;
  static Type empty() { return nullptr; }
  static void close(Type library) { ::FreeLibrary(library); }
};
using LibraryHandle = UniqueHandle<LibraryHandleTraits>;

struct LocalMemoryTraits {
  using Type = void*;
  static Type empty() { return nullptr; }
  static void close(Type memory) { ::LocalFree(memory); }
};
// Memory that a call has allocated with LocalAlloc: message texts, security descriptors.
using LocalMemory = UniqueHandle<LocalMemoryTraits>;

struct DeviceSetTraits {
  using Type = HDEVINFO;
  static Type empty() { return INVALID_HANDLE_VALUE; }
  static void close(Type set) { ::SetupDiDestroyDeviceInfoList(set); }
};
using DeviceSet = UniqueHandle<DeviceSetTraits>;

struct InfFileTraits {
  using Type = HINF;
  static Type empty() { return INVALID_HANDLE_VALUE; }
  static void close(Type inf) { ::SetupCloseInfFile(inf); }
};
using InfFile = UniqueHandle<InfFileTraits>;

struct FileQueueTraits {
  using Type = HSPFILEQ;
  static Type empty() { return INVALID_HANDLE_VALUE; }
  static void close(Type queue) { ::SetupCloseFileQueue(queue); }
};
using FileQueue = UniqueHandle<FileQueueTraits>;

template <class Interface>
struct ComPointerTraits {
  using Type = Interface*;
  static Type empty() { return nullptr; }
  static void close(Type object) { object->Release(); }
};
template <class Interface>
using ComPointer = UniqueHandle<ComPointerTraits<Interface>>;
