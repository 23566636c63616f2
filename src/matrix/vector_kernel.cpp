// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The choice between instruction sets.

#include "matrix/vector_kernel.h"

bool wide_kernels_allowed = true;
