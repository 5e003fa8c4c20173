// scrub_list - reads the cleanup manifest ScrubList.JSON into records. Does not extract it, and hides the JSON library.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include "manifest/records.h"

// The manifest of one run: the JSON tree and the records made from it.
class ScrubList {
 public:
  ScrubList();
  ~ScrubList();
  ScrubList(const ScrubList&) = delete;
  ScrubList& operator=(const ScrubList&) = delete;

  // Reads the manifest from the open document and fills data(). With `launchedForFactoryReset` the display driver
  // packages are not considered and the registry value GraphicType is protected; without it both display packages are
  // considered. A document that cannot be read is logged and counts as empty. Throws
  // boost::property_tree::ptree_bad_path, a std::exception, for every required path that is missing; then data() is
  // incomplete.
  void parseScrubList(bool launchedForFactoryReset, HANDLE document);

  // Appends the strings of the array at the dotted path, in order. Throws ptree_bad_path when there is no such path.
  void readStringList(const std::wstring& path, std::vector<std::wstring>& list) const;

  ScrubListData& data() { return *data_; }

 private:
  struct Tree;

  void loadScrubListFile(HANDLE document);
  void readGenericData();
  void readInclusionData(bool launchedForFactoryReset);
  void readExclusionData();
  void readApplicationPackages();
  void readDriverPackages();

  std::unique_ptr<Tree> tree_;
  std::unique_ptr<ScrubListData> data_;
};
