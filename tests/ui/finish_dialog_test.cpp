// finish_dialog_test - the dialog at the end of a run: its template, the outcome in words, the buttons.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "resources/resource_ids.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "ui/finish_dialog.h"
#include "ui/localised_strings.h"
#include "ui/program_module.h"
#include "ui/template_reader.h"
#include "ui/window_fixture.h"

namespace {

std::vector<std::wstring> questions;
int answer = IDNO;

}  // namespace

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR text, LPCWSTR title, UINT)) {
  questions.push_back(std::wstring(title) + L": " + text);
  return answer;
}

LINK_SEAM(BOOL, ExitWindowsEx, (UINT, DWORD)) {
  return TRUE;
}

namespace {

class FinishDialog : public testing::Test {
 protected:
  void SetUp() override {
    moduleInstance = ::GetModuleHandleW(nullptr);
    languageFilePath.clear();
    questions.clear();
    answer = IDNO;
    finished.clear();
  }

  void TearDown() override {
    if (dialog && ::IsWindow(dialog)) {
      ::DestroyWindow(dialog);
    }
    pumpWaitingMessages(nullptr);  // and leave no quit message behind
    languageFilePath.clear();
  }

  void open(std::int32_t outcome) {
    dialog = openFinishDialog(outcome, [this](HWND ended) { finished.push_back(ended); });
    ASSERT_TRUE(dialog);
    paint();
  }

  void paint() const { ::SendMessageW(dialog, WM_PAINT, 0, 0); }

  void press(int control) const { ::SendMessageW(::GetDlgItem(dialog, control), BM_CLICK, 0, 0); }

  HWND dialog = nullptr;
  std::vector<HWND> finished;  // the dialogs that asked for the end of the run
};

struct ShownTexts {
  std::int32_t outcome;
  const wchar_t* outcomeText;
};

constexpr char kGermanFile[] =
    "<Language X><Caption Value=\"126\">Titel</Caption><Caption Value=\"127\">Erfolg</Caption>"
    "<Caption Value=\"128\">Warnungen</Caption><Caption Value=\"129\">Fehler</Caption>"
    "<Caption Value=\"131\">Bericht</Caption><Caption Value=\"132\">Fertig</Caption>"
    "<Caption Value=\"133\">Neustart?</Caption></Language>";

}  // namespace

TEST_F(FinishDialog, ThatCannotBeMadeEndsTheRun) {
  moduleInstance = ::GetModuleHandleW(L"kernel32");  // has no such dialog
  EXPECT_FALSE(openFinishDialog(1, [](HWND) {}));
  MSG message = {};
  EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(message.message, WM_QUIT);
}

TEST_F(FinishDialog, Template) {
  const DialogTemplate finish = TemplateReader(IDD_FINISH).read();
  EXPECT_EQ(finish.style, 0x80C000C8u);
  EXPECT_EQ(finish.width, 389);
  EXPECT_EQ(finish.height, 86);
  EXPECT_EQ(finish.title, L"");
  EXPECT_EQ(finish.fontFace, L"MS Shell Dlg");
  EXPECT_EQ(finish.fontPoints, 8);
  EXPECT_EQ(finish.fontWeight, 400);
  const struct {
    int id;
    std::vector<int> place;
    DWORD style;
    const wchar_t* className;
    const wchar_t* text;
  } rows[] = {
      {1, {327, 61, 50, 14}, 0x50010000, kButtonClass, L""},
      {2, {332, 24, 50, 14}, 0x40010000, kButtonClass, L"Cancel"},
      {1000, {140, 39, 79, 14}, 0x50010000, kButtonClass, L""},
      {1001, {92, 21, 205, 15}, 0x50020000, kStaticClass, L""},
  };
  EXPECT_EQ(finish.items.size(), std::size(rows));
  for (const auto& row : rows) {
    const TemplateItem& item = finish.item(row.id);
    EXPECT_EQ(item.place, row.place) << row.id;
    EXPECT_EQ(item.style, row.style) << row.id;
    EXPECT_EQ(item.extendedStyle, 0u) << row.id;
    EXPECT_EQ(item.className, row.className) << row.id;
    EXPECT_EQ(item.text, row.text) << row.id;
  }
}

TEST_F(FinishDialog, OutcomesHaveTheirTexts) {
  for (const ShownTexts& row : {ShownTexts{1, L"The ORV Cleanup Utility has successfully completed."},
                                ShownTexts{0, L"The ORV Cleanup Utility has completed with warnings."},
                                ShownTexts{-1, L"The ORV Cleanup Utility has not completed successfully."}}) {
    open(row.outcome);
    EXPECT_EQ(controlText(dialog, 1001), row.outcomeText);
    EXPECT_EQ(windowText(dialog), L"ORV Cleanup Utility");
    EXPECT_EQ(controlText(dialog, 1000), L"View Report");
    EXPECT_EQ(controlText(dialog, 1), L"Finish");
    ::DestroyWindow(dialog);
  }
}

TEST_F(FinishDialog, AllFourTextsAreTranslated) {
  const TestFolder folder;
  languageFilePath = folder.makeFile(L"DEU.xml", kGermanFile);
  for (const ShownTexts& row : {ShownTexts{1, L"Erfolg"}, ShownTexts{0, L"Warnungen"}, ShownTexts{-1, L"Fehler"}}) {
    open(row.outcome);
    EXPECT_EQ(controlText(dialog, 1001), row.outcomeText);
    EXPECT_EQ(windowText(dialog), L"Titel");
    EXPECT_EQ(controlText(dialog, 1000), L"Bericht");
    EXPECT_EQ(controlText(dialog, 1), L"Fertig");
    ::DestroyWindow(dialog);
  }
}

TEST_F(FinishDialog, TextThatTheFileLacksStaysEnglish) {
  const TestFolder folder;
  languageFilePath = folder.makeFile(L"DEU.xml", "<Language X><Caption Value=\"132\">Fertig</Caption></Language>");
  open(1);
  EXPECT_EQ(controlText(dialog, 1), L"Fertig");
  EXPECT_EQ(controlText(dialog, 1000), L"View Report");
}

TEST_F(FinishDialog, IsShownInTheMiddleOfTheScreen) {
  open(1);
  EXPECT_TRUE(::IsWindowVisible(dialog));
  EXPECT_EQ(::GetParent(dialog), nullptr);
  RECT screen = {};
  RECT own = {};
  ::GetWindowRect(::GetDesktopWindow(), &screen);
  ::GetWindowRect(dialog, &own);
  EXPECT_EQ(own.left, (screen.right - (own.right - own.left)) / 2);
  EXPECT_EQ(own.top, (screen.bottom - (own.bottom - own.top)) / 2);
}

TEST_F(FinishDialog, HasTheProgramsIcon) {
  open(1);
  // A shared one: loading it again gives the same.
  const HICON icon = ::LoadIconW(moduleInstance, MAKEINTRESOURCEW(107));
  ASSERT_TRUE(icon);
  EXPECT_EQ(::SendMessageW(dialog, WM_GETICON, ICON_BIG, 0), reinterpret_cast<LRESULT>(icon));
}

TEST_F(FinishDialog, HasNoCloseBox) {
  open(1);
  EXPECT_EQ(::GetWindowLongW(dialog, GWL_STYLE) & WS_SYSMENU, 0);
}

TEST_F(FinishDialog, CancelIsHidden) {
  open(1);
  EXPECT_FALSE(::IsWindowVisible(::GetDlgItem(dialog, 2)));
  EXPECT_TRUE(::IsWindowVisible(::GetDlgItem(dialog, 1)));
  EXPECT_TRUE(::IsWindowVisible(::GetDlgItem(dialog, 1000)));
  EXPECT_TRUE(::IsWindowVisible(::GetDlgItem(dialog, 1001)));
}

TEST_F(FinishDialog, FinishButtonEndsTheRun) {
  open(1);
  press(1);
  EXPECT_EQ(finished, std::vector<HWND>{dialog});
}

TEST_F(FinishDialog, EscActsAsFinish) {
  open(1);
  ::PostMessageW(dialog, WM_KEYDOWN, VK_ESCAPE, 0);
  pumpWaitingMessages(dialog);
  EXPECT_EQ(finished, std::vector<HWND>{dialog});
}

TEST_F(FinishDialog, ClosingActsAsFinish) {
  open(1);
  ::SendMessageW(dialog, WM_CLOSE, 0, 0);
  pumpWaitingMessages(dialog);
  EXPECT_EQ(finished, std::vector<HWND>{dialog});
}

TEST_F(FinishDialog, AnswersItsCommandsAndItsEndAlone) {
  open(1);
  EXPECT_EQ(finishDialogProc(dialog, WM_COMMAND, 1, 0), 1);
  EXPECT_EQ(finishDialogProc(dialog, WM_COMMAND, 2, 0), 1);
  EXPECT_EQ(finishDialogProc(dialog, WM_COMMAND, 1001, 0), 0);
  EXPECT_EQ(finishDialogProc(dialog, WM_INITDIALOG, 0, 0), 0);
  EXPECT_EQ(finishDialogProc(dialog, WM_PAINT, 0, 0), 0);
  EXPECT_EQ(finishDialogProc(dialog, WM_CLOSE, 0, 0), 0);
  EXPECT_EQ(finishDialogProc(dialog, WM_DESTROY, 0, 0), 1);
  EXPECT_EQ(finished.size(), 2u);
}

TEST_F(FinishDialog, DestroyingItPostsTheQuitMessage) {
  open(1);
  pumpWaitingMessages(dialog);
  ::DestroyWindow(dialog);
  EXPECT_EQ(pumpWaitingMessages(nullptr), 0);
}

TEST_F(FinishDialog, EndOfARunHidesItAsksAndPostsTheQuitMessage) {
  wchar_t arguments[] = L"";
  CleanupSession session(::GetModuleHandleW(nullptr), arguments, SW_SHOW);
  session.quitRequested = false;
  session.switches.rebootAfterRun = false;
  session.outcome = 0;
  session.showFinishDialog();
  dialog = session.finishDialog;
  ASSERT_TRUE(dialog);
  paint();
  EXPECT_EQ(controlText(dialog, 1001), L"The ORV Cleanup Utility has completed with warnings.");
  pumpWaitingMessages(dialog);
  press(1);
  EXPECT_FALSE(::IsWindowVisible(dialog));
  EXPECT_TRUE(session.quitRequested);
  EXPECT_EQ(questions,
            (std::vector<std::wstring>{L"ORV Cleanup Utility: Actions taken by ORV Cleanup Utility require a system "
                                       L"reboot. Would you like to reboot now?"}));
  EXPECT_EQ(pumpWaitingMessages(nullptr), 0);
}

TEST_F(FinishDialog, QuestionAboutTheRestartIsTranslated) {
  const TestFolder folder;
  languageFilePath = folder.makeFile(L"DEU.xml", kGermanFile);
  wchar_t arguments[] = L"";
  CleanupSession session(::GetModuleHandleW(nullptr), arguments, SW_SHOW);
  session.switches.rebootAfterRun = false;
  session.onFinish(nullptr);
  EXPECT_EQ(questions, (std::vector<std::wstring>{L"Titel: Neustart?"}));
}
