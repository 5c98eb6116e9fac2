#include "plexa/draw/strings.h"

#include <cwchar>

namespace {

// The digit value of a hexadecimal character, lower-cased in ASCII only; -1 otherwise.
int HexDigit(wchar_t c) {
  if (c >= L'A' && c <= L'F') c = static_cast<wchar_t>(c - L'A' + L'a');
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  return -1;
}

}  // namespace

unsigned short hex2wchar(const wchar_t* text) {
  if (text == nullptr) return 0;
  const std::size_t n = std::wcslen(text);
  // Unsigned arithmetic wraps modulo 2^32, which keeps the low 16 bits of the true sum.
  unsigned int sum = 0;
  unsigned int weight = 1;
  for (std::size_t i = n; i-- > 0;) {
    const int d = HexDigit(text[i]);
    if (d < 0) return 0;
    sum += static_cast<unsigned int>(d) * weight;
    weight *= 16;
  }
  return static_cast<unsigned short>(sum & 0xFFFFu);
}

CString sub_string(const wchar_t* text, int index, wchar_t sep) {
  std::wstring field;
  if (text == nullptr) return CString();
  int counter = 0;
  for (const wchar_t* p = text; *p != L'\0'; ++p) {
    if (*p != sep) {
      if (counter == index) field += *p;
    } else if (counter == index) {
      break;
    } else {
      ++counter;
    }
  }
  return CString(std::move(field));
}

int sub_string_count(const wchar_t* text, wchar_t sep) {
  if (text == nullptr || *text == L'\0') return 0;
  int count = 0;
  const wchar_t* p = text;
  for (; *p != L'\0'; ++p)
    if (*p == sep) ++count;
  return p[-1] == sep ? count : count + 1;
}
