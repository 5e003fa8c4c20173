#include "system/registry_walk.h"

#include <utility>
#include <vector>

#include "system/handles.h"
#include "system/log.h"
#include "system/registry.h"
#include "system/unique_rows.h"

namespace {

constexpr DWORD kKeyNameCharacters = 256;
constexpr DWORD kValueNameCharacters = 16384;

// Tells whether the registry has changed below some keys since each of them was added.
class ChangeWatch {
 public:
  ChangeWatch() : changed_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

  // Watches `key` and everything below it. The key stays open as long as this object: closing it would count as a
  // change.
  void add(RegistryKey key) {
    watched_ = watched_ && changed_ &&
               ::RegNotifyChangeKeyValue(key.get(), TRUE, REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET,
                                         changed_.get(), TRUE) == ERROR_SUCCESS;
    keys_.push_back(std::move(key));
  }

  // Also false when a key could not be watched.
  bool nothingChanged() const { return watched_ && ::WaitForSingleObject(changed_.get(), 0) == WAIT_TIMEOUT; }

 private:
  KernelHandle changed_;
  bool watched_ = true;
  std::vector<RegistryKey> keys_;
};

// One key on the way down.
struct OpenKey {
  HKEY key = nullptr;
  RegistryKey owner;    // empty for the key that the caller has opened
  std::wstring subkey;  // its path below the root
  DWORD subkeyCount = 0;
  DWORD valueCount = 0;
  DWORD nextSubkey = 0;
};

// Walks keys into two lists. The keys on the way down are kept in a vector, not on the stack, so a tree may be of any
// depth.
class Walk {
 public:
  Walk(std::vector<std::wstring>& keys, std::vector<std::wstring>& values)
      : keys_(keys), values_(values), valueName_(kValueNameCharacters) {}

  // True when all of it could be read.
  bool collect(HKEY key, HKEY root, const std::wstring& subkeyPath) {
    complete_ = true;
    prefix_ = RootKeyName(root);
    if (!prefix_.empty()) {
      prefix_ += L'\\';
    }
    std::vector<OpenKey> way;
    way.push_back(describe(key, RegistryKey(), subkeyPath));
    while (!way.empty()) {
      OpenKey& current = way.back();
      if (current.nextSubkey == current.subkeyCount) {
        collectValues(current);
        way.pop_back();
        continue;
      }
      std::wstring name;
      if (!takeNextSubkey(current, &name)) {
        continue;
      }
      std::wstring below = current.subkey + L'\\' + name;
      if (root == nullptr) {
        LogDebug(L"QueryKey: %s---------hkey is NULL---------------%s", prefix_.c_str(), below.c_str());
        continue;
      }
      RegistryKey child = openSubkey(current, name, root, below);
      if (child) {
        const HKEY handle = child.get();
        way.push_back(describe(handle, std::move(child), below));
      }
    }
    return complete_;
  }

 private:
  OpenKey describe(HKEY key, RegistryKey owner, const std::wstring& subkey) {
    OpenKey result;
    result.key = key;
    result.owner = std::move(owner);
    result.subkey = subkey;
    wchar_t className[MAX_PATH] = {};
    DWORD classLength = MAX_PATH;
    // A failure leaves both counts at zero: the key then looks empty.
    noteStatus(::RegQueryInfoKeyW(key, className, &classLength, nullptr, &result.subkeyCount, nullptr, nullptr,
                                  &result.valueCount, nullptr, nullptr, nullptr, nullptr));
    return result;
  }

  std::wstring keyName(const OpenKey& parent, const std::wstring& name) const {
    return parent.subkey.empty() ? prefix_ + name : prefix_ + parent.subkey + L'\\' + name;
  }

  // Appends the next subkey to the list. True when it was not there yet and has to be walked.
  bool takeNextSubkey(OpenKey& current, std::wstring* name) {
    wchar_t buffer[kKeyNameCharacters];
    DWORD length = kKeyNameCharacters - 1;
    buffer[0] = L'\0';
    if (!noteStatus(
            ::RegEnumKeyExW(current.key, current.nextSubkey++, buffer, &length, nullptr, nullptr, nullptr, nullptr))) {
      return false;
    }
    *name = buffer;
    return keys_.append(keyName(current, *name));
  }

  // Opens the key from its parent, which is faster than from the root. The relative path of a root's child has a
  // leading backslash and cannot be opened: a walk from a root stops at the first level, and the list of user profiles
  // depends on that.
  RegistryKey openSubkey(const OpenKey& parent, const std::wstring& name, HKEY root, const std::wstring& below) {
    RegistryKey child;
    const bool isBelowRoot = parent.subkey.empty();
    noteStatus(::RegOpenKeyExW(isBelowRoot ? root : parent.key, isBelowRoot ? below.c_str() : name.c_str(), 0, KEY_READ,
                               child.put()));
    return child;
  }

  bool noteStatus(LSTATUS status) {
    complete_ &= status == ERROR_SUCCESS;
    return status == ERROR_SUCCESS;
  }

  void collectValues(const OpenKey& current) {
    for (DWORD index = 0; index < current.valueCount; ++index) {
      DWORD length = kValueNameCharacters - 1;
      valueName_[0] = L'\0';
      if (noteStatus(
              ::RegEnumValueW(current.key, index, valueName_.data(), &length, nullptr, nullptr, nullptr, nullptr))) {
        // The value of a root gets two backslashes; the deletion splits a row at the last one.
        values_.append(prefix_ + current.subkey + L'\\' + valueName_.data());
      }
    }
  }

  UniqueRows keys_;
  UniqueRows values_;
  std::wstring prefix_;
  std::vector<wchar_t> valueName_;
  bool complete_ = true;  // everything in the current tree could be read
};

}  // namespace

void QueryKey(HKEY key, HKEY root, const std::wstring& subkeyPath, std::vector<std::wstring>& keys,
              std::vector<std::wstring>& values) {
  Walk(keys, values).collect(key, root, subkeyPath);
}

// Appended rows are visited, too, to find what has been created since they were listed. When everything could be read
// and nothing has changed since, these visits would find nothing. They are left out then, as they double the cost of
// the walk.
void getRegistryKeysValuesRecursively(std::vector<std::wstring>& keys, std::vector<std::wstring>& values) {
  Walk walk(keys, values);
  // False when the key could not be read to its end.
  const auto visit = [&](std::size_t row, ChangeWatch* watch) {
    const auto [rootName, subkey] = splitRegistryPath(keys[row]);
    const HKEY root = ParseRootKey(rootName);
    if (root == nullptr) {
      LogDebug(L"getRegistryKeysValuesRecursively: %s---------hkey is NULL---------------%s", rootName.c_str(),
               subkey.c_str());
      return true;
    }
    RegistryKey key;
    if (::RegOpenKeyExW(root, subkey.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
      return true;
    }
    const HKEY handle = key.get();
    if (watch) {
      watch->add(std::move(key));
    }
    return walk.collect(handle, root, subkey);
  };

  ChangeWatch watch;
  bool allRead = true;
  const std::size_t listed = keys.size();
  for (std::size_t row = 0; row < listed; ++row) {
    allRead &= visit(row, &watch);
  }
  if (allRead && watch.nothingChanged()) {
    return;
  }
  for (std::size_t row = listed; row < keys.size(); ++row) {  // a visit appends to the list
    visit(row, nullptr);
  }
}

void SkipKeysWithChildren(std::vector<std::wstring>& keys) {
  std::erase_if(keys, [](const std::wstring& row) {
    std::vector<std::wstring> collected = {row};
    std::vector<std::wstring> values;
    getRegistryKeysValuesRecursively(collected, values);
    if (collected.size() == 1) {
      return false;
    }
    LogDebug(L"-----------Skipping Registry key -- %s -- as it contains other registries-------------", row.c_str());
    return true;
  });
}
