// system_links - the links that Windows keeps for programs that still use the folders of older versions. Knows nothing
// of other links.
#pragma once

#include <string>

// A full path with each of these links replaced by its standard target, whether or not the link exists: "C:\Users\All
// Users\X" becomes "C:\ProgramData\X". Takes a path without a "\\?\" prefix; case does not matter. Knows the links by
// their names in an English Windows. SHGetKnownFolderPath.
std::wstring throughSystemLinks(std::wstring path);
