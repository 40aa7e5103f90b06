// The rows that describe the switches to users, against the tables that the program walks: every form that
// is accepted has one row, every row is accepted, and a row says rightly whether its switch acts.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "diag/report.h"
#include "memory/memory.h"
#include "options/handlers.h"
#include "options/options.h"

namespace {

enum Follows {
  alone,
  sign,
  any,
  text,
  more,
  number,
  limit,
  length,
  warning,
  extension,
  runtime,
  package,
  other
};
enum Effect { acts, accepted };

// One form of a row of switches.def.
struct Described {
  std::string form;  // with its '-'
  Follows follows;
  Effect effect;
};

std::vector<Described> describedForms() {
  std::vector<Described> forms;
  const auto add = [&](const char* list, Follows follows, Effect effect) {
    std::istringstream words(list);
    for (std::string word; words >> word;) forms.push_back({word, follows, effect});
  };
#define GROUP(title)
#define SWITCH(list, follows, value, effect, help) add(list, follows, effect);
#include "options/switches.def"
#undef GROUP
#undef SWITCH
  return forms;
}

// True if each letter is R or V and none comes twice.
bool isRuntime(const std::string& rest) {
  return rest == "R" || rest == "V" || rest == "RV" || rest == "VR";
}

// Whether `follows` allows `rest` after `form`.
bool allows(const std::string& form, Follows follows, const std::string& rest) {
  const bool digits = !rest.empty() && std::isdigit(static_cast<unsigned char>(rest[0])) != 0;
  const unsigned long value = digits ? std::strtoul(rest.c_str(), nullptr, 10) : 0;
  switch (follows) {
    case alone: return rest.empty();
    case sign: return rest.empty() || rest == "+" || rest == "-";
    case any:
    case text: return true;
    case more: return !rest.empty();
    case number: return digits;
    case limit: return digits && value <= 255;
    case length: return digits && (value == 0 || (value >= 8 && value <= 250));
    // After a sign there is nothing but the name.
    case warning:
      return !rest.empty() && (form != "-w" || std::string("+-.!").find(rest[0]) == std::string::npos);
    case extension: return !rest.empty() && rest != "." && (form != "-P" || rest[0] != '-');
    case runtime: return isRuntime(rest);
    case package: return rest.empty() || isRuntime(rest);
    case other: return rest.size() == 1 && std::string("crsgdk-.").find(rest[0]) == std::string::npos;
  }
  return false;
}

// The rows that describe a switch: of those that fit, the ones with the longest form.
std::vector<const Described*> rowsOf(const std::vector<Described>& forms, const std::string& given) {
  std::vector<const Described*> found;
  for (const Described& row : forms) {
    if (!given.starts_with(row.form) || !allows(row.form, row.follows, given.substr(row.form.size())))
      continue;
    if (!found.empty() && found[0]->form.size() > row.form.size()) continue;
    if (!found.empty() && found[0]->form.size() < row.form.size()) found.clear();
    found.push_back(&row);
  }
  return found;
}

// The program's tables once more, with names in place of handlers and fields.
struct NamedRow {
  uint16_t letter;
  std::string handler;
  std::string field;
  std::string table;
};
using NamedTables = std::map<std::string, std::vector<NamedRow>>;

NamedTables namedTables() {
  NamedTables tables;
  std::vector<NamedRow>* table = nullptr;
#define TABLE(name) table = &tables[#name];
#define ROW(letter, handler, field, value) table->push_back({letter, #handler, #field, ""});
#define DO(letter, handler, value) table->push_back({letter, #handler, "", ""});
#define SUB(letter, name) table->push_back({letter, "subTable", "", #name});
#define END_TABLE
#include "options/options.def"
#undef TABLE
#undef ROW
#undef DO
#undef SUB
#undef END_TABLE
  return tables;
}

// All ways down the tables, without the '-'.
void collectWays(const NamedTables& tables, const std::string& table, const std::string& way,
                 std::set<std::string>& ways) {
  ways.insert(way);
  for (const NamedRow& row : tables.at(table)) {
    if (row.letter == endOfSwitch || row.letter == anyLetter) continue;
    const std::string next = way + static_cast<char>(row.letter);
    ways.insert(next);
    if (!row.table.empty()) collectWays(tables, row.table, next, ways);
  }
}

// Whether a row that an accepted switch meets writes what has a reader.
bool meetsReader(const NamedTables& tables, const std::string& table, const std::string& rest) {
  static const std::set<std::string> idle = {"accept", "acceptOnly", "debugSwitch", "oldObjectSwitch",
                                             "obsoleteSwitch"};
  const uint16_t letter = rest.empty() ? endOfSwitch : static_cast<unsigned char>(rest[0]);
  const std::string after = rest.empty() ? "" : rest.substr(1);
  for (const NamedRow& row : tables.at(table)) {
    if (row.letter != letter && row.letter != anyLetter) continue;
    if (!row.table.empty()) {
      if (meetsReader(tables, row.table, after)) return true;
    } else if (!idle.contains(row.handler) && !row.field.starts_with("stored.")) {
      return true;
    }
  }
  return false;
}

bool isAccepted(const std::string& given) {
  messageLimits = {};
  const bool isList = given[1] == 'I' || given[1] == 'L';
  return parseOption(isList ? firstLook : secondLook, given.c_str() + 1);
}

class Switches : public testing::Test {
 protected:
  static void SetUpTestSuite() { memoryStart(); }
  static void TearDownTestSuite() { memoryStop(); }
  void TearDown() override {
    char program[] = "vsp32";
    char* argv[] = {program, nullptr};
    optionBootstrap(argv, 1);
    resetCounters();
  }
};

TEST_F(Switches, AreDescribedOnceEach) {
  const std::vector<Described> forms = describedForms();
  const NamedTables tables = namedTables();
  std::set<std::string> ways;
  collectWays(tables, "topForms", "", ways);
  EXPECT_GT(ways.size(), 200U);

  std::vector<std::string> tails = {"",   "--",  "+x",   "-x",    "12",   "256",  "0x",  "7",
                                    "8",  "250", "251",  "RV",    "VR",   "RR",   "VRV", "b",
                                    "bx", "dl",  "dlx",  "abc",   "-abc", "8017", "!x",  "!-",
                                    "..", "!-x", "+abc", "-8017", "-.",   "+.",   "a.b", "99999999999"};
  for (char c = '!'; c <= '~'; c++) tails.emplace_back(1, c);
  std::set<const Described*> met;
  size_t count = 0;
  std::string faults;
  testing::internal::CaptureStdout();  // what is said about wrong numbers
  for (const std::string& way : ways) {
    for (const std::string& tail : tails) {
      const std::string given = "-" + way + tail;
      const std::vector<const Described*> rows = rowsOf(forms, given);
      const bool isTaken = given != "-" && isAccepted(given);
      count += isTaken ? 1 : 0;
      if (rows.size() != (isTaken ? 1U : 0U)) {
        faults += given + " is " + (isTaken ? "" : "not ") + "accepted and has " +
                  std::to_string(rows.size()) + " rows\n";
        continue;
      }
      if (!isTaken) continue;
      met.insert(rows[0]);
      // The banner is none of the tables' business, and letters after -S have no rows of their own.
      if (given == "-q" || rows[0]->follows == other) continue;
      if (meetsReader(tables, "topForms", given.substr(1)) != (rows[0]->effect == acts))
        faults += given + " acts or doesn't, against its row\n";
    }
  }
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(faults, "");
  EXPECT_GT(count, 3000U);
  for (const Described& row : forms) EXPECT_TRUE(met.contains(&row)) << row.form << " is never accepted";
}

}  // namespace
