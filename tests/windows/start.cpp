// Starts a Windows program under Wine, in the place of the program that the tests run on Linux.
//
//   start ARGUMENT...            runs drive_c/vsp/vsp32.exe of the prefix that holds this file
//   NAME.exe (a link to start)   runs drive_c/vsp/NAME.exe
//
// The variable VSP_EXE names another program file, by its path on Linux.
//
// The arguments of a test are bytes in the program's code page; Wine takes UTF-8 and turns it into
// that code page again. The environment goes on as it is, but for what Wine needs.

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Characters 0x80 to 0x9F of code page 1252; those above have their own number.
constexpr unsigned short ansiCharacters[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::string asUtf8(const char* text) {
  std::string result;
  for (; *text != 0; text++) {
    const unsigned byte = static_cast<unsigned char>(*text);
    const unsigned code = byte >= 0x80 && byte < 0xA0 ? ansiCharacters[byte - 0x80] : byte;
    if (code < 0x80) {
      result += static_cast<char>(code);
    } else if (code < 0x800) {
      result += static_cast<char>(0xC0 | code >> 6);
      result += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      result += static_cast<char>(0xE0 | code >> 12);
      result += static_cast<char>(0x80 | (code >> 6 & 0x3F));
      result += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  char own[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
  if (length <= 0) return 97;
  own[length] = 0;
  const std::string path = own;
  const std::string root = path.substr(0, path.rfind('/'));
  std::string name = argv[0];
  name.erase(0, name.rfind('/') + 1);
  if (!name.ends_with(".exe")) name = "vsp32.exe";

  std::string program = "c:\\vsp\\" + name;
  if (const char* const other = std::getenv("VSP_EXE")) program = other;

  setenv("WINEPREFIX", (root + "/prefix").c_str(), 1);
  setenv("WINEDLLPATH", (root + "/i386").c_str(), 1);
  setenv("WINEDEBUG", "-all", 1);
  setenv("WINEDLLOVERRIDES", "mscoree=d;mshtml=d", 1);
  setenv("HOME", (root + "/home").c_str(), 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  unsetenv("DISPLAY");
  // The place of Wine's server is below it, and must be the same for all runs.
  unsetenv("TMPDIR");

  std::vector<std::string> words = {"wine64", program};
  for (int i = 1; i < argc; i++) words.push_back(asUtf8(argv[i]));
  std::vector<char*> list;
  for (std::string& word : words) list.push_back(word.data());
  list.push_back(nullptr);
  execv("/usr/lib/wine/wine64", list.data());
  perror("wine64");
  return 97;
}
