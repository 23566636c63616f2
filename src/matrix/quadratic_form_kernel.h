// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The quadratic forms of several vectors on one packed symmetric matrix.

#ifndef ULLAGE_MATRIX_QUADRATIC_FORM_KERNEL_H
#define ULLAGE_MATRIX_QUADRATIC_FORM_KERNEL_H

#include <cstddef>

inline constexpr std::size_t kFormsSideBySide = 16;

// forms[c] = x'Ax for the vector c of kFormsSideBySide, as quadratic_form_packed gives it.
//
// a: packed, order n; x: n rows of kFormsSideBySide doubles, column c being vector c.
void quadratic_forms_kernel(std::size_t n, const double *a, const double *x, double *forms);

#endif
