// The table of lead bytes, which follows the code page in force.

#include "options/lead_bytes.h"

#include "options/option_image.h"
#include "platform/code_page.h"
#include "platform/locale.h"
#include "platform/paths.h"

constinit Byte leadByteTable[256] = {};
constinit bool anyLeadBytes = false;

void buildLeadByteTable() {
  if (optionImage.codePage == 0) optionImage.codePage = systemCodePage();
  anyLeadBytes = false;
  for (int b = 0; b < 256; ++b) {
    leadByteTable[b] = isLeadByteOf(optionImage.codePage, Byte(b)) ? 1 : 0;
    if (leadByteTable[b] != 0) anyLeadBytes = true;
  }
  pathLeadBytes = anyLeadBytes ? leadByteTable : nullptr;
}
