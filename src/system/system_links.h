// system_links - the links that Windows itself keeps for programs that are older than its folders. A path through one
// of them means the place that Windows has it lead to.
#pragma once

#include <string>

// A full path with such links replaced by what Windows has them lead to, whether or not they are there:
// "C:\Users\All Users\X" becomes "C:\ProgramData\X". In the plain spelling; letter case does not count. Knows the names
// that the links have on an English Windows. SHGetKnownFolderPath.
std::wstring throughSystemLinks(std::wstring path);
