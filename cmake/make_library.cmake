# Turns a language library in the form made for editing into a resource script:
#   cmake -DINPUT=vsp32.DEU -DOUTPUT=vsp32.DEU.rc -P make_library.cmake
# A line of the input is an identifier, a blank and the text; every other line is a comment. In the text
# "\n" is a line end, "\s" a blank and "\\" a backslash; any other backslash stands for itself.
file(READ "${INPUT}" text)
string(REPLACE "\r" "" text "\n${text}")
string(REGEX REPLACE "\n[^0-9\n][^\n]*" "" text "${text}")
string(REGEX REPLACE "\n\n+" "\n" text "${text}")

# Two characters that no text holds stand for the escapes until all other backslashes are doubled.
string(ASCII 1 backslash)
string(ASCII 2 lineEnd)
string(REPLACE "\\\\" "${backslash}" text "${text}")
string(REPLACE "\\n" "${lineEnd}" text "${text}")
string(REPLACE "\\s" " " text "${text}")
string(REPLACE "\\" "${backslash}" text "${text}")
string(REPLACE "${backslash}" "\\\\" text "${text}")
string(REPLACE "${lineEnd}" "\\n" text "${text}")
string(REPLACE "\"" "\"\"" text "${text}")

string(REGEX REPLACE "\n([0-9]+)[ \t]?([^\n]*)" "\n  \\1, \"\\2\"" text "${text}")
if(NOT text MATCHES "\n  [0-9]+, \"")
  message(FATAL_ERROR "${INPUT} holds no text")
endif()
file(WRITE "${OUTPUT}" "#pragma code_page(65001)\n\nSTRINGTABLE\nBEGIN${text}\nEND\n")
