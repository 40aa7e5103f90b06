// Text of any bytes in JSON: strings that are valid UTF-8 whatever comes in, and paths as URIs.

#pragma once

#include "base.h"
#include "platform/text_buffer.h"

// Appends `length` bytes as a part of a JSON string, or a whole text as one with its quotes. Well-formed
// UTF-8 stays as it is; any other byte is the character of its own number, which is what it is in the
// Western sets. Parts must not split a character.
void appendJsonPart(TextBuffer& buffer, const char* bytes, size_t length);
void appendJsonString(TextBuffer& buffer, const char* text);

// Appends a path in the user's spelling as a JSON string with its quotes: the URI reference of a file,
// absolute for a path with a root, else relative.
void appendJsonUri(TextBuffer& buffer, const char* path);

// Takes the comma and the line feed after the last item of a list off the end of a text.
void dropListEnd(TextBuffer& buffer);
