#pragma once

#include <xcb/xcb.h>
#include <xcb/xproto.h>

// The header names a field with a word that C++ reserves.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
