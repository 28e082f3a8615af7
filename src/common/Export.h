// SPDX-License-Identifier: MIT

// What a shared library lets out. Everything without this mark stays inside, and so can change.
//
// Where both ends of an endpoint are in one process, each from a shared library of its own, what
// the whole process has only one of is that of the library that was loaded first: every function
// that leads to it carries this mark, too.

#pragma once

#if defined(__GNUC__)
#define APPLIST_EXPORT __attribute__((visibility("default")))
#else
#define APPLIST_EXPORT
#endif
