// The drawing platform: device-independent bitmaps, memory drawing surfaces, pens, brushes and
// the path bracket, with the names, records and behaviour of the Windows GDI calls that the
// library and its hosts use. Everything draws into plain memory; there is no display.
//
//   BITMAPINFO_2 info{};                         // header + two palette entries
//   info.bmiHeader = {sizeof(BITMAPINFOHEADER), 640, 480, 1, 1, BI_RGB};
//   info.bmiColors[1] = {255, 255, 255, 0};      // {black, white}
//   void* bits = nullptr;
//   HBITMAP bmp = CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&info),
//                                  DIB_RGB_COLORS, &bits, nullptr, 0);
//   HDC dc = CreateCompatibleDC(nullptr);
//   HGDIOBJ old = SelectObject(dc, bmp);
//   HPEN pen = CreatePen(PS_SOLID, 20, RGB(255, 255, 255));
//   SelectObject(dc, pen);
//   POINT pts[] = {{10, 10}, {300, 40}, {200, 400}};
//   Polyline(dc, pts, 3);                        // round joins and ends
//   SelectObject(dc, old); DeleteDC(dc); DeleteObject(pen); DeleteObject(bmp);
//
// Handles are opaque: each names an object in a process-wide table that the calls look up, so a
// null, deleted or made-up handle is recognised and the call fails the way the Windows call
// does (null handle, FALSE, 0 or CLR_INVALID) without touching memory. The table is guarded by
// a mutex; as on Windows one drawing surface must not be used by two threads at once.
//
// Pixel geometry. Pixel (x, y) is the unit square [x, x+1) x [y, y+1) with y = 0 the top line,
// sampled at its centre (x + 0.5, y + 0.5):
//  - fills (Polygon, the fill of StrokeAndFillPath, FillRect) use the alternate (even-odd) rule
//    and paint the pixels whose centres are inside; a centre exactly on an edge counts when the
//    edge is a left or top edge (so a rectangle (l, t, r, b) fills columns l..r-1, rows t..b-1);
//  - pens of width w >= 2 paint exactly the pixels whose centres lie within w/2 (inclusive) of
//    the drawn lines: round joins and round ends. Pens of width 0 or 1 draw the one-pixel line
//    that Bresenham's algorithm gives from pixel (x0, y0) to pixel (x1, y1), the last pixel of
//    an open line left out, as the platform does;
//  - Bezier curves are flattened into lines within 0.1 pixel first (at most 16,384 lines a
//    segment).
// The coverage is exact (no rounding decides a tie) for integer coordinates within
// +-kExactCoordinate; beyond that, up to the platform's drawing range +-kMaxCoordinate, a centre
// lying exactly on the boundary may go either way. A call with a coordinate outside the drawing
// range fails and draws nothing.
//
// Colours. A colour drawn into a 24- or 32-bit bitmap is stored as blue, green, red (the spare
// byte of a 32-bit pixel becomes 0); into a 1- or 8-bit bitmap it becomes the index of the
// nearest palette entry (smallest squared distance in red, green, blue; the lower index wins a
// tie). There is no dithering. Block copies convert every source pixel the same way, so a copy
// of a colour image onto a {black, white} bitmap turns each pixel to the nearer of the two.
#pragma once

#include <cstdint>

#include "plexa/platform/export.h"
#include "plexa/platform/records.h"

using HANDLE = void*;
using HGDIOBJ = void*;
using ULONG_PTR = std::uintptr_t;
using LPVOID = void*;

// Distinct opaque handle types that all convert to HGDIOBJ, as with the platform's strict types.
struct HBITMAP__ {
  int unused;
};
struct HDC__ {
  int unused;
};
struct HPEN__ {
  int unused;
};
struct HBRUSH__ {
  int unused;
};
struct HFONT__ {
  int unused;
};
struct HWND__ {
  int unused;
};
using HBITMAP = HBITMAP__*;
using HDC = HDC__*;
using HPEN = HPEN__*;
using HBRUSH = HBRUSH__*;
using HFONT = HFONT__*;
using HWND = HWND__*;

// Records, with the platform's field order and sizes.
struct tagRGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
};
using RGBQUAD = tagRGBQUAD;

struct tagBITMAP {
  LONG bmType;
  LONG bmWidth;
  LONG bmHeight;
  LONG bmWidthBytes;
  WORD bmPlanes;
  WORD bmBitsPixel;
  void* bmBits;
};
using BITMAP = tagBITMAP;

struct tagBITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;  // positive: rows stored bottom-up; negative: top-down
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};
using BITMAPINFOHEADER = tagBITMAPINFOHEADER;

// The colour table follows the header at biSize bytes from the start of the record; callers
// declare a record with as many entries as they need (BITMAPINFO_2 for a two-colour bitmap).
struct tagBITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
};
using BITMAPINFO = tagBITMAPINFO;
struct BITMAPINFO_2 {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[2];
};
struct BITMAPINFO_256 {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[256];
};

struct tagDIBSECTION {
  BITMAP dsBm;
  BITMAPINFOHEADER dsBmih;
  DWORD dsBitfields[3];
  HANDLE dshSection;
  DWORD dsOffset;
};
using DIBSECTION = tagDIBSECTION;

struct tagLOGPEN {
  UINT lopnStyle;
  POINT lopnWidth;
  COLORREF lopnColor;
};
using LOGPEN = tagLOGPEN;

struct tagLOGBRUSH {
  UINT lbStyle;
  COLORREF lbColor;
  ULONG_PTR lbHatch;
};
using LOGBRUSH = tagLOGBRUSH;

// Constants with the platform's values.
inline constexpr DWORD BI_RGB = 0;
inline constexpr UINT DIB_RGB_COLORS = 0;
inline constexpr UINT DIB_PAL_COLORS = 1;

inline constexpr int PS_SOLID = 0;
inline constexpr int PS_DASH = 1;
inline constexpr int PS_DOT = 2;
inline constexpr int PS_DASHDOT = 3;
inline constexpr int PS_DASHDOTDOT = 4;
inline constexpr int PS_NULL = 5;
inline constexpr int PS_INSIDEFRAME = 6;
inline constexpr UINT BS_SOLID = 0;
inline constexpr UINT BS_NULL = 1;
inline constexpr UINT BS_HOLLOW = BS_NULL;

inline constexpr int WHITE_BRUSH = 0;
inline constexpr int LTGRAY_BRUSH = 1;
inline constexpr int GRAY_BRUSH = 2;
inline constexpr int DKGRAY_BRUSH = 3;
inline constexpr int BLACK_BRUSH = 4;
inline constexpr int NULL_BRUSH = 5;
inline constexpr int HOLLOW_BRUSH = NULL_BRUSH;
inline constexpr int WHITE_PEN = 6;
inline constexpr int BLACK_PEN = 7;
inline constexpr int NULL_PEN = 8;

inline constexpr int HORZRES = 8;
inline constexpr int VERTRES = 10;
inline constexpr int BITSPIXEL = 12;
inline constexpr int PLANES = 14;
inline constexpr int LOGPIXELSX = 88;
inline constexpr int LOGPIXELSY = 90;

inline constexpr DWORD SRCCOPY = 0x00CC0020;
inline constexpr DWORD SRCPAINT = 0x00EE0086;
inline constexpr DWORD SRCAND = 0x008800C6;
inline constexpr DWORD SRCINVERT = 0x00660046;
inline constexpr DWORD NOTSRCCOPY = 0x00330008;
inline constexpr DWORD DSTINVERT = 0x00550009;
inline constexpr DWORD BLACKNESS = 0x00000042;
inline constexpr DWORD WHITENESS = 0x00FF0062;

inline constexpr COLORREF CLR_INVALID = 0xFFFFFFFF;

// The screen that GetDC(nullptr) stands for: a 32-bit surface of this size at 96 pixels per
// inch, allocated on first use. Debug dumps draw into it; nothing reads it back but tests.
inline constexpr int kScreenWidth = 1920;
inline constexpr int kScreenHeight = 1080;
inline constexpr int kScreenDpi = 96;

// Largest pixel buffer a bitmap may have: its size must fit the 32-bit size fields of the
// records. Larger requests give no bitmap, as when memory runs out.
inline constexpr std::int64_t kMaxBitmapBytes = 0x7FFFFFFF;
// Drawing range: the platform limits device coordinates to 27 bits. Pens wider than the range
// are refused when created.
inline constexpr LONG kMaxCoordinate = (1 << 27) - 1;
// Integer coordinates up to this size are rasterised without any rounding at the boundary.
inline constexpr LONG kExactCoordinate = 1 << 20;

// Bitmaps. CreateDIBSection accepts 1, 8, 24 and 32 bits a pixel, BI_RGB, one plane, a positive
// width and a non-zero height (negative: top-down rows); the colour table (1 and 8 bits) has
// biClrUsed entries, or all 2^bits when 0, read from DIB_RGB_COLORS only. Pixels start at 0.
// The device context, section and offset arguments are accepted and ignored. Anything else, or
// a buffer above kMaxBitmapBytes, gives nullptr and leaves *bits null.
PLEXA_API HBITMAP CreateDIBSection(HDC dc, const BITMAPINFO* info, UINT usage, void** bits,
                                   HANDLE section, DWORD offset);
// Fills a tagBITMAP (size sizeof(BITMAP)) or a DIBSECTION (size >= sizeof(DIBSECTION)) for a
// bitmap, a LOGPEN for a pen, a LOGBRUSH for a brush; returns the bytes written, or with a null
// buffer the bytes it would write. 0 for an unknown handle or a too small buffer. bmHeight is
// always positive; the header keeps the sign.
PLEXA_API int GetObjectW(HANDLE object, int size, LPVOID buffer);
// Frees a bitmap, pen or brush. FALSE for an unknown handle or an object selected into a
// surface; TRUE and nothing happens for a stock object.
PLEXA_API BOOL DeleteObject(HGDIOBJ object);
// Nothing is batched: always TRUE.
PLEXA_API BOOL GdiFlush();

// Drawing surfaces. A memory surface starts with a 1 x 1 stock bitmap selected (drawing on it
// goes nowhere), the black pen and the white brush, current position (0, 0).
PLEXA_API HDC CreateCompatibleDC(HDC dc);  // nullptr when dc is neither null nor a known surface
PLEXA_API BOOL DeleteDC(HDC dc);           // memory surfaces only; selected objects stay alive
// Selects a bitmap (memory surfaces only; a bitmap lives in one surface at a time), pen or
// brush; returns the previous object of that kind, or nullptr when anything does not fit.
PLEXA_API HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
PLEXA_API HGDIOBJ
GetStockObject(int index);         // nullptr for indexes other than the brushes and pens above
PLEXA_API HDC GetDC(HWND window);  // the screen for nullptr; there are no windows
PLEXA_API int ReleaseDC(HWND window,
                        HDC dc);  // 1 when dc came from GetDC and is now released, else 0
PLEXA_API int GetDeviceCaps(HDC dc, int index);  // 96 pixels per inch on every surface; 0 unknown

// Pens: PS_NULL draws nothing; every other style of the list above draws solid (dashes are not
// drawn). Width 0 draws one pixel wide like width 1. A style outside PS_SOLID..PS_INSIDEFRAME,
// a negative width or one above kMaxCoordinate gives nullptr.
PLEXA_API HPEN CreatePen(int style, int width, COLORREF color);
PLEXA_API HBRUSH CreateSolidBrush(COLORREF color);

// Drawing into the bitmap selected into dc. Each returns FALSE (0) for an unknown surface, a
// bad count or a coordinate outside the drawing range, and draws nothing then.
PLEXA_API BOOL FillRect(HDC dc, const RECT* rect, HBRUSH brush);  // int on the platform; 1 / 0 here
PLEXA_API BOOL MoveToEx(HDC dc, int x, int y, POINT* previous);
PLEXA_API BOOL LineTo(HDC dc, int x, int y);
PLEXA_API BOOL Polyline(HDC dc, const POINT* points, int count);  // count >= 2
PLEXA_API BOOL Polygon(HDC dc, const POINT* points,
                       int count);  // count >= 2; filled, then outlined
PLEXA_API BOOL PolyBezier(HDC dc, const POINT* points, DWORD count);  // count = 1 + 3k, k >= 0
// The path bracket: between BeginPath and EndPath the calls above record figures instead of
// drawing (every MoveToEx, Polyline, PolyBezier and Polygon starts a figure; Polygon's is
// closed). StrokePath, FillPath and StrokeAndFillPath draw the recorded path and discard it;
// they fail when no path has been ended. FillPath and StrokeAndFillPath first close every open
// figure, so StrokeAndFillPath also strokes the closing lines; StrokePath leaves them open.
PLEXA_API BOOL BeginPath(HDC dc);
PLEXA_API BOOL EndPath(HDC dc);
PLEXA_API BOOL CloseFigure(HDC dc);
PLEXA_API BOOL AbortPath(HDC dc);
PLEXA_API BOOL StrokePath(HDC dc);
PLEXA_API BOOL FillPath(HDC dc);
PLEXA_API BOOL StrokeAndFillPath(HDC dc);  // the fill first, then the outline
// The colour set (after palette matching), or CLR_INVALID outside the bitmap.
PLEXA_API COLORREF SetPixel(HDC dc, int x, int y, COLORREF color);
PLEXA_API COLORREF GetPixel(HDC dc, int x, int y);
// Block copies with the raster operations listed above (others fail). Pixels whose source or
// destination lies outside its bitmap are left alone. StretchBlt samples, for each destination
// pixel, the source pixel under its centre (nearest neighbour); negative extents mirror.
PLEXA_API BOOL BitBlt(HDC dest, int x, int y, int width, int height, HDC source, int sx, int sy,
                      DWORD rop);
PLEXA_API BOOL StretchBlt(HDC dest, int x, int y, int width, int height, HDC source, int sx, int sy,
                          int sourceWidth, int sourceHeight, DWORD rop);

// Milliseconds since an arbitrary start, wrapping at 2^32 like the platform's.
PLEXA_API DWORD GetTickCount();

// A drawing context object in the style of the platform's class library: holds a surface handle
// and forwards to the calls above. It owns nothing; the handle is the caller's.
class CDC {
 public:
  CDC() = default;
  explicit CDC(HDC dc) : m_hDC(dc) {}
  HDC GetSafeHdc() const { return m_hDC; }
  COLORREF SetPixel(int x, int y, COLORREF c) { return ::SetPixel(m_hDC, x, y, c); }
  COLORREF GetPixel(int x, int y) const { return ::GetPixel(m_hDC, x, y); }
  HGDIOBJ SelectObject(HGDIOBJ o) { return ::SelectObject(m_hDC, o); }
  BOOL MoveTo(int x, int y) { return ::MoveToEx(m_hDC, x, y, nullptr); }
  BOOL LineTo(int x, int y) { return ::LineTo(m_hDC, x, y); }
  BOOL Polyline(const POINT* p, int n) { return ::Polyline(m_hDC, p, n); }
  BOOL Polygon(const POINT* p, int n) { return ::Polygon(m_hDC, p, n); }
  BOOL PolyBezier(const POINT* p, int n) { return ::PolyBezier(m_hDC, p, static_cast<DWORD>(n)); }
  BOOL BeginPath() { return ::BeginPath(m_hDC); }
  BOOL EndPath() { return ::EndPath(m_hDC); }
  BOOL StrokePath() { return ::StrokePath(m_hDC); }
  BOOL StrokeAndFillPath() { return ::StrokeAndFillPath(m_hDC); }
  BOOL FillRect(const RECT* r, HBRUSH b) { return ::FillRect(m_hDC, r, b); }
  int GetDeviceCaps(int index) const { return ::GetDeviceCaps(m_hDC, index); }
  BOOL BitBlt(int x, int y, int w, int h, CDC* src, int sx, int sy, DWORD rop) {
    return ::BitBlt(m_hDC, x, y, w, h, src ? src->m_hDC : nullptr, sx, sy, rop);
  }

  HDC m_hDC = nullptr;
};
