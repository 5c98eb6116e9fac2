// Small parsers for the host's text fields: a hexadecimal character code and the fields of
// a separated list. Stateless free functions; a null text reads as an empty one.
//
//   hex2wchar(L"20AC");                      // 0x20AC
//   sub_string(L"red;green;blue", 1, L';');  // L"green"
//   sub_string_count(L"red;green;blue", L';');  // 3
#pragma once

#include "plexa/platform/export.h"
#include "plexa/platform/text.h"

// The value of a hexadecimal text, upper or lower case, as a 16-bit character code. Any
// character other than 0-9, a-f, A-F (a sign, a space, an "x" prefix) makes the result 0,
// and so does an empty text. Longer texts wrap: only the low 16 bits of the value are kept,
// so L"12345" gives 0x2345.
PLEXA_API unsigned short hex2wchar(const wchar_t* text);

// Field number `index` (from 0) of a `sep`-separated list: empty for an empty field, for a
// negative index or for an index beyond the last field.
PLEXA_API CString sub_string(const wchar_t* text, int index, wchar_t sep);

// The number of `sep` characters, plus 1 when the text does not end with `sep`: L"a,b" and
// L"a,b," both give 2, a lone L"," gives 1. An empty text has no fields and gives 0 (a
// choice of this library: there is no last character to test).
PLEXA_API int sub_string_count(const wchar_t* text, wchar_t sep);
