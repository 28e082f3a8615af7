// SPDX-License-Identifier: MIT

// Characters that take no column of their own: those that stand on another one, those that join
// two, and those that show nothing at all.
//
// By Unicode 16. A character that a later version adds is taken for an ordinary one.

#pragma once

namespace applist {

// Whether `code` stands on the letter before it, as an accent does, a vowel sign of many scripts,
// or the second part of a Korean syllable.
bool IsCombining(char32_t code);

// Whether `code` shows nothing wherever it stands: a space of no width, a place where a word may be
// broken, a filler, a tag. Also the two that begin a new line, which a line must not.
bool IsUnseen(char32_t code);

// Whether `code` is one that changes how its neighbours look: the joiners, and the selectors of a
// character's variant. They show nothing themselves.
bool IsJoining(char32_t code);

// Whether `code`, which IsJoining, has a use between `before` and `after`: in the scripts whose
// letters join, and in emoji. 0 stands for none.
bool HasUse(char32_t code, char32_t before, char32_t after);

}  // namespace applist
