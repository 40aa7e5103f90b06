// The token pass: pulls tokens until the input ends and writes them back as text.

#pragma once

// Runs the whole pass of a unit. Opens the output.
void tokenPass();
