// The table of lead bytes, which follows the code page in force.

#include "options/lead_bytes.h"

#include "options/option_image.h"
#include "platform/code_page.h"
#include "platform/locale.h"
#include "platform/paths.h"

constinit Byte leadByteTable[256] = {};
constinit bool anyLeadBytes = false;

// The code page that the table has been filled for; 0 for none.
static constinit uint32_t filledFor = 0;

void buildLeadByteTable() {
  if (optionImage.codePage == 0) optionImage.codePage = systemCodePage();
  if (optionImage.codePage == filledFor) return;
  filledFor = optionImage.codePage;
  anyLeadBytes = false;
  // No byte of ASCII begins a double-byte character in any code page.
  for (int b = 0x80; b < 256; ++b) {
    leadByteTable[b] = isLeadByteOf(filledFor, Byte(b)) ? 1 : 0;
    if (leadByteTable[b] != 0) anyLeadBytes = true;
  }
  pathLeadBytes = anyLeadBytes ? leadByteTable : nullptr;
}
