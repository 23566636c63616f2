// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Which characters count as letters and digits, on every machine and in every locale.

#ifndef ULLAGE_PLATFORM_CHARACTER_CLASS_H
#define ULLAGE_PLATFORM_CHARACTER_CLASS_H

// Whether a single 16-bit unit is a letter (general categories L*) or a decimal digit (Nd) of Unicode 14.0. A surrogate
// is neither.
bool is_letter_or_digit(char16_t unit);

#endif
