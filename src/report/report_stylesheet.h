// report_stylesheet - the fixed texts of the report: its stylesheet, inside the report or in a file next to it, and the
// words on the page. Knows nothing of what the report says.
#pragma once

#include <ostream>
#include <string>

// The element with the words on the page, one per line. English in every language of the UI.
extern const wchar_t kReportResourceBlock[];

// The beginning of a report with its stylesheet inside. The report's root element must follow, then "</doc>".
void writeInlineStylesheet(std::wostream& stream);

// Writes report.xml.xsl to `folder`. If the file cannot be opened, that is ignored.
void writeStylesheetFile(const std::wstring& folder);
