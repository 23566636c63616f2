# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The commands of the project, each a thin cover of the CMake presets: demo, test, bench, fuzz, format, tidy.

jobs := $(shell nproc)
install := tools/install_packages.sh

.PHONY: test demo bench fuzz format tidy

# All tests, in a Release build and under the sanitizers.
test:
	$(install) test
	cmake --preset release
	cmake --build --preset release --parallel $(jobs)
	ctest --preset release --parallel $(jobs)
	cmake --preset asan-ubsan
	cmake --build --preset asan-ubsan --parallel $(jobs)
	ctest --preset asan-ubsan --parallel $(jobs)

# The example host on the airquality measurements, against an installed copy of the library.
demo:
	$(install) examples
	cmake --preset demo
	cmake --build --preset demo --parallel $(jobs)
	cmake --install build/demo --component engine --prefix build/demo/installed
	cmake -S examples -B build/demo/examples -G Ninja -D CMAKE_BUILD_TYPE=Release \
	      -D CMAKE_PREFIX_PATH=$(CURDIR)/build/demo/installed
	cmake --build build/demo/examples --parallel $(jobs)
	cd build/demo && examples/airquality $(CURDIR)/examples/airquality.csv

# Write the sources anew in the project's format.
format:
	$(install) format
	python3 tools/check_format.py --write

# Static analysis of the library, the host and the program, with the checks chosen in .clang-tidy.
tidy:
	$(install) tidy
	cmake --preset clang-release -D ULLAGE_BUILD_TESTS=OFF -B build/tidy
	run-clang-tidy -quiet -p build/tidy '$(CURDIR)/(src|host|cli)/'
