// Language and character set, from the registry and the thread's locale.

#include "platform/locale.h"

#include <windows.h>

// Reads the value `name` of an open key; null is the unnamed one. False if there
// is none, or if it is too long.
static bool readValue(HKEY key, const char* name, LanguageName& result) {
  LanguageName value{};
  DWORD size = sizeof value.text;
  if (RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value.text), &size) !=
      ERROR_SUCCESS)
    return false;
  // A value may be stored without its NUL.
  if (value.text[sizeof value.text - 1] != 0) return false;
  result = value;
  return true;
}

LanguageName configuredLocale(const char* programPath) {
  LanguageName result{};
  HKEY key;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Vestrel\\Locales", 0, KEY_ALL_ACCESS, &key) !=
      ERROR_SUCCESS)
    return result;
  static_assert(KEY_ALL_ACCESS == 0xF003F);
  if (!readValue(key, programPath, result)) readValue(key, nullptr, result);
  RegCloseKey(key);
  return result;
}

LanguageName localeLanguage() {
  LanguageName result{};
  if (GetLocaleInfoA(GetThreadLocale(), LOCALE_SABBREVLANGNAME, result.text, sizeof result.text) == 0)
    result.text[0] = 0;
  return result;
}

uint32_t systemCodePage() {
  return GetACP();
}
