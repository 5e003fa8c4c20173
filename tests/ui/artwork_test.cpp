// artwork_test - the bitmaps and the icon in the program's resources.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <windows.h>

#include "resources/resource_ids.h"

namespace {

std::vector<char> resourceBytes(const wchar_t* type, int id) {
  const HRSRC found = ::FindResourceW(nullptr, MAKEINTRESOURCEW(id), type);
  if (!found) {
    return {};
  }
  const char* bytes = static_cast<const char*>(::LockResource(::LoadResource(nullptr, found)));
  return {bytes, bytes + ::SizeofResource(nullptr, found)};
}

// One image of an icon group.
struct IconEntry {
  BYTE width;  // 0 for 256
  BYTE height;
  BYTE colours;
  BYTE reserved;
  WORD planes;
  WORD bits;
  DWORD size;
  WORD id;
};
constexpr std::size_t kIconEntryBytes = 14;  // in the file, without the padding at its end

std::vector<IconEntry> iconEntries() {
  const std::vector<char> group = resourceBytes(RT_GROUP_ICON, IDI_PROGRAM);
  std::vector<IconEntry> entries;
  for (std::size_t at = 3 * sizeof(WORD); at + kIconEntryBytes <= group.size(); at += kIconEntryBytes) {
    std::memcpy(&entries.emplace_back(), group.data() + at, kIconEntryBytes);
  }
  return entries;
}

}  // namespace

TEST(Artwork, BitmapsHaveTheirSizesIn24Bits) {
  const struct {
    int id;
    int width;
    int height;
  } rows[] = {{163, 640, 192}, {137, 36, 35}, {138, 34, 33}, {136, 34, 32}};
  for (const auto& row : rows) {
    const std::vector<char> bytes = resourceBytes(RT_BITMAP, row.id);
    ASSERT_GE(bytes.size(), sizeof(BITMAPINFOHEADER)) << row.id;
    BITMAPINFOHEADER header;
    std::memcpy(&header, bytes.data(), sizeof(header));
    EXPECT_EQ(header.biWidth, row.width) << row.id;
    EXPECT_EQ(header.biHeight, row.height) << row.id;
    EXPECT_EQ(header.biBitCount, 24) << row.id;
    EXPECT_EQ(header.biCompression, static_cast<DWORD>(BI_RGB)) << row.id;

    const HBITMAP bitmap = ::LoadBitmapW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(row.id));
    BITMAP loaded = {};
    EXPECT_NE(::GetObjectW(bitmap, sizeof(loaded), &loaded), 0) << row.id;
    EXPECT_EQ(loaded.bmWidth, row.width) << row.id;
    EXPECT_EQ(loaded.bmHeight, row.height) << row.id;
    ::DeleteObject(bitmap);
  }
}

TEST(Artwork, OutcomesHaveThreeDifferentPictures) {
  const std::vector<char> success = resourceBytes(RT_BITMAP, IDB_SUCCESS);
  const std::vector<char> warnings = resourceBytes(RT_BITMAP, IDB_WARNINGS);
  const std::vector<char> failure = resourceBytes(RT_BITMAP, IDB_FAILURE);
  EXPECT_NE(success, warnings);
  EXPECT_NE(warnings, failure);
  EXPECT_NE(success, failure);
}

TEST(Artwork, IconHasASizeForEveryPlace) {
  std::vector<int> sizes;
  for (const IconEntry& entry : iconEntries()) {
    EXPECT_EQ(entry.width, entry.height);
    EXPECT_EQ(entry.bits, 32) << static_cast<int>(entry.width);
    EXPECT_EQ(resourceBytes(RT_ICON, entry.id).size(), entry.size) << static_cast<int>(entry.width);
    sizes.push_back(entry.width == 0 ? 256 : entry.width);
  }
  EXPECT_EQ(sizes, (std::vector<int>{16, 20, 24, 32, 48, 64, 128, 256}));
}

TEST(Artwork, IconLoadsInEachSize) {
  for (const int size : {16, 20, 24, 32, 48, 64, 128, 256}) {
    const HANDLE icon = ::LoadImageW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDI_PROGRAM), IMAGE_ICON, size, size,
                                     LR_DEFAULTCOLOR);
    ICONINFO information = {};
    EXPECT_TRUE(icon && ::GetIconInfo(static_cast<HICON>(icon), &information)) << size;
    BITMAP bitmap = {};
    ::GetObjectW(information.hbmColor, sizeof(bitmap), &bitmap);
    EXPECT_EQ(bitmap.bmWidth, size);
    EXPECT_EQ(bitmap.bmHeight, size);
  }
}
