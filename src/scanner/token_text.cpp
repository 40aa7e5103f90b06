// The one instance of the shared text buffer.

#include "scanner/token_text.h"

constinit TokenText tokenText = {.end = tokenText.bytes, .bytes = {}};
