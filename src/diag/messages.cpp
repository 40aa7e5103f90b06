// The message catalogue.
//
// Its texts are kept by the platform. A language library replaces all of them at
// once: a file next to the program, with the program's name and the name of a
// language as its extension. It is looked for once, before the first text is loaded.

#include "diag/messages.h"

#include <algorithm>
#include <cstring>

#include "platform/files.h"
#include "platform/locale.h"

constexpr StringRow builtInMessages[] = {
#define MESSAGE(id, name, text) {id, text},
#include "diag/messages.def"
#undef MESSAGE
};
constexpr int messageRows = int(sizeof builtInMessages / sizeof builtInMessages[0]);

constexpr bool messagesInOrder = [] {
  for (int i = 1; i < messageRows; ++i)
    if (builtInMessages[i - 1].id >= builtInMessages[i].id) return false;
  return true;
}();
static_assert(messagesInOrder, "the lookup is a binary search");

std::span<const StringRow> builtInDiagnostics() {
  constexpr uint16_t firstOtherText = 4096;
  const StringRow* end = builtInMessages;
  while (end->id < firstOtherText) ++end;
  return {builtInMessages, end};
}

int diagnosticRow(int id) {
  const std::span<const StringRow> rows = builtInDiagnostics();
  const auto found =
      std::find_if(rows.begin(), rows.end(), [id](const StringRow& row) { return row.id == id; });
  return found == rows.end() ? -1 : int(found - rows.begin());
}

static constinit bool libraryChosen = false;  // the search for a library has been made

void useBuiltInMessages() {
  setOwnStrings(builtInMessages, messageRows);
  closeStringLibrary();
  libraryChosen = true;
}

// Tries the library with the extension `language`, which goes to `stem` in `path`;
// there is room for it.
static bool tryLanguage(char* path, size_t stem, const LanguageName& language) {
  const size_t length = std::strlen(language.text);
  if (length == 0) return false;
  std::memcpy(path + stem, language.text, length + 1);
  return openStringLibrary(path);
}

// Chooses the catalogue: the library that the user's configuration names, else the
// one of the environment's language, by its three letters or the first two, else
// the program's own texts.
static void findMessageModule() {
  constexpr size_t pathSize = 256;
  char program[pathSize];
  char path[pathSize + sizeof(LanguageName)];

  useBuiltInMessages();
  const size_t stem = languageStem(path, pathSize);
  if (stem == 0 || !programPath(program, pathSize)) return;
  LanguageName language = localeLanguage();
  if (tryLanguage(path, stem, configuredLocale(program)) || tryLanguage(path, stem, language)) return;
  language.text[2] = 0;
  tryLanguage(path, stem, language);
}

char* loadMessageInto(size_t size, char* buffer, int id) {
  if (!libraryChosen) findMessageModule();
  loadString(id, buffer, size);
  return buffer;
}

char* loadConsoleMessage(size_t size, char* buffer, int id) {
  loadMessageInto(size, buffer, id);
  toConsoleCharset(buffer);
  return buffer;
}
