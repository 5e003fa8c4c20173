// report_stylesheet - the fixed texts of the removal report: the stylesheet that makes a page of it, inside the report
// or beside it, and the words that the page shows.
#pragma once

#include <ostream>
#include <string>

// The element with the page's words, a line each. In English in every language of the user interface.
extern const wchar_t kReportResourceBlock[];

// What stands at the head of a report that carries its stylesheet inside. The report's own root has to follow, and
// "</doc>" behind it.
void writeInlineStylesheet(std::wostream& stream);

// Writes report.xml.xsl into `folder`. A file that cannot be opened is no failure that anybody hears of.
void writeStylesheetFile(const std::wstring& folder);
