// template_reader - reads a dialog template (DLGTEMPLATEEX) of the running program like Windows does.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include <windows.h>

struct TemplateItem {
  int id = 0;
  std::vector<int> place;  // left, top, width, height in dialog units
  DWORD style = 0;
  DWORD extendedStyle = 0;
  std::wstring className;
  std::wstring text;
};

struct DialogTemplate {
  DWORD style = 0;
  DWORD extendedStyle = 0;
  int width = 0;
  int height = 0;
  std::wstring title;
  WORD fontPoints = 0;
  WORD fontWeight = 0;
  std::wstring fontFace;
  std::vector<TemplateItem> items;

  const TemplateItem& item(int id) const {
    for (const TemplateItem& candidate : items) {
      if (candidate.id == id) {
        return candidate;
      }
    }
    static const TemplateItem none;
    return none;
  }
};

class TemplateReader {
 public:
  explicit TemplateReader(int resource) {
    const HRSRC found = ::FindResourceW(nullptr, MAKEINTRESOURCEW(resource), RT_DIALOG);
    start_ = static_cast<const char*>(::LockResource(::LoadResource(nullptr, found)));
  }

  DialogTemplate read() {
    DialogTemplate result;
    take<DWORD>();  // version and signature
    take<DWORD>();  // help
    result.extendedStyle = take<DWORD>();
    result.style = take<DWORD>();
    const WORD count = take<WORD>();
    take<DWORD>();  // left and top
    result.width = take<short>();
    result.height = take<short>();
    takeName();  // menu
    takeName();  // class
    result.title = takeName();
    if (result.style & DS_SETFONT) {
      result.fontPoints = take<WORD>();
      result.fontWeight = take<WORD>();
      take<WORD>();  // italic and character set
      result.fontFace = takeName();
    }
    for (WORD index = 0; index < count; ++index) {
      result.items.push_back(readItem());
    }
    return result;
  }

 private:
  TemplateItem readItem() {
    offset_ = (offset_ + 3) / 4 * 4;
    TemplateItem item;
    take<DWORD>();  // help
    item.extendedStyle = take<DWORD>();
    item.style = take<DWORD>();
    for (int part = 0; part < 4; ++part) {
      item.place.push_back(take<short>());
    }
    item.id = static_cast<int>(take<DWORD>());
    item.className = takeName();
    item.text = takeName();
    offset_ += take<WORD>();  // creation data
    return item;
  }

  template <class Value>
  Value take() {
    Value value;
    std::memcpy(&value, start_ + offset_, sizeof(value));
    offset_ += sizeof(value);
    return value;
  }

  // A name, or a resource number with its prefix, as for an icon.
  std::wstring takeName() {
    const WORD first = take<WORD>();
    if (first == 0) {
      return {};
    }
    if (first == 0xFFFF) {
      return L"#" + std::to_wstring(take<WORD>());
    }
    std::wstring name(1, static_cast<wchar_t>(first));
    for (WORD next = take<WORD>(); next != 0; next = take<WORD>()) {
      name += static_cast<wchar_t>(next);
    }
    return name;
  }

  const char* start_ = nullptr;
  std::size_t offset_ = 0;
};

inline constexpr wchar_t kButtonClass[] = L"BUTTON";
inline constexpr wchar_t kStaticClass[] = L"STATIC";
