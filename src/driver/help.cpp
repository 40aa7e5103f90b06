// Banner, help and version. Most of their texts stand in the catalogue.

#include "driver/help.h"

#include <cstring>

#include "diag/messages.h"
#include "options/long_options.h"
#include "platform/files.h"

void printText(const char* text) {
  while (*text != 0) {
    const size_t run = std::strcspn(text, "\r");
    writeConsole(text, run);
    text += run;
    if (*text == '\r') ++text;
  }
}

static void printMessage(MessageId id) {
  char text[messageTextLimit];
  printText(loadConsoleMessage(sizeof text, text, id));
}

void printBanner() {
  printMessage(textBannerName);
  printMessage(textBannerSystem);
  printMessage(textBannerTool);
  printText(programVersion);
  printMessage(textBannerNotice);
}

void printHelp() {
  static constexpr MessageId lines[] = {
      textSyntaxIs, textProgramName, textSyntaxArguments, textHelp1, textHelp2, textHelp3,  textHelp4,
      textHelp5,    textHelp6,       textHelp7,           textHelp8, textHelp9, textHelp10, textHelp11};
  for (const MessageId id : lines) printMessage(id);
}

// Prints one long switch: its form in a column, its help after it.
static void printLongOption(const LongOptionText& option) {
  constexpr size_t column = 24;
  static constexpr char blanks[column + 1] = "                        ";
  size_t width = std::strlen("  --") + std::strlen(option.name);
  printText("  --");
  printText(option.name);
  if (option.value != nullptr) {
    printText("=");
    printText(option.value);
    width += 1 + std::strlen(option.value);
  }
  printText(width < column ? blanks + width : "  ");
  printText(option.help);
  printText("\n");
}

void printFullHelp() {
  printHelp();
  printText("Before or after the file names:\n");
  for (size_t i = 0; const LongOptionText* const option = longOptionText(i); ++i) printLongOption(*option);
}

void printVersion() {
  printText("vsp32 ");
  printText(programVersion);
  printText("\nBuilt by " VSP_COMPILER " for " VSP_SYSTEM "\n");
  char notice[messageTextLimit];
  loadConsoleMessage(sizeof notice, notice, textBannerNotice);
  // In the banner it stands after other text.
  printText(notice + std::strspn(notice, " "));
}
