// CString: the host's wide text type, a thin value wrapper over std::wstring.
//
//   CString name(L"Arial");
//   if (!name.IsEmpty()) use(static_cast<const wchar_t*>(name));
#pragma once

#include <string>

class CString {
 public:
  CString() = default;
  CString(const wchar_t* text)
      : m_text(text ? text : L"") {}  // NOLINT: implicit like the platform's
  CString(const wchar_t* text, int length) : m_text(text, static_cast<std::size_t>(length)) {}
  explicit CString(std::wstring text) : m_text(std::move(text)) {}

  int GetLength() const { return static_cast<int>(m_text.size()); }
  bool IsEmpty() const { return m_text.empty(); }
  void Empty() { m_text.clear(); }
  // Out of range reads give 0 rather than failing, so callers can scan past the end safely.
  wchar_t GetAt(int i) const {
    return i >= 0 && i < GetLength() ? m_text[static_cast<std::size_t>(i)] : L'\0';
  }
  wchar_t operator[](int i) const { return GetAt(i); }
  operator const wchar_t*() const { return m_text.c_str(); }  // NOLINT
  const std::wstring& str() const { return m_text; }

  CString& operator+=(const CString& o) {
    m_text += o.m_text;
    return *this;
  }
  CString& operator+=(wchar_t c) {
    m_text += c;
    return *this;
  }
  friend CString operator+(CString a, const CString& b) {
    a += b;
    return a;
  }
  friend bool operator==(const CString& a, const CString& b) { return a.m_text == b.m_text; }
  friend bool operator==(const CString& a, const wchar_t* b) { return a.m_text == (b ? b : L""); }

 private:
  std::wstring m_text;
};
