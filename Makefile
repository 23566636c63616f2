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

# The program on the airquality measurements, with missing and with censored cells.
demo:
	$(install) host
	cmake --preset demo
	cmake --build --preset demo --parallel $(jobs)
	tools/demo.sh build/demo/cli/ullage build/demo/results

# The engine beside the plain road: a table of medians and ratios, and build/bench/bench.csv.
bench:
	$(install) bench
	cmake --preset bench
	cmake --build --preset bench --parallel $(jobs)
	python3 tools/bench_table.py build/bench

# Each fuzzer for FUZZ_SECONDS. Inputs that fail are left in build/fuzz/finds.
FUZZ_SECONDS ?= 60
fuzz:
	$(install) fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz --parallel $(jobs)
	for harness in $(notdir $(wildcard fuzz/corpora/*)); do \
	    mkdir -p build/fuzz/corpus/$$harness build/fuzz/finds/$$harness && \
	    build/fuzz/fuzz/$${harness}_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=256 -timeout=30 -rss_limit_mb=4000 \
	        -close_fd_mask=2 -artifact_prefix=build/fuzz/finds/$$harness/ build/fuzz/corpus/$$harness \
	        fuzz/corpora/$$harness || exit 1; \
	done

# Write the sources anew in the project's format.
format:
	$(install) format
	python3 tools/check_format.py --write

# Static analysis of the library, the host and the program, with the checks chosen in .clang-tidy.
tidy:
	$(install) tidy
	cmake --preset clang-release -D ULLAGE_BUILD_TESTS=OFF -B build/tidy
	run-clang-tidy -quiet -p build/tidy '$(CURDIR)/(src|host|cli)/'
