/* The guard below is noticed: a second #include of this file doesn't open it again. */
#ifndef REPORT_H
#define REPORT_H

#define TARGET_SMALL 1
#define TARGET_LARGE 2

#define KILOBYTES(n) ((n) * 1024)
#define ENTRY(name, suffix) name##suffix
#define CHECK(condition) if (!(condition)) failed(#condition, __FILE__, __LINE__)

extern int report_code;
void failed(const char* text, const char* file, int line);

#endif
