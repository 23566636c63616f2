# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The commands of the project, each a thin cover of the CMake presets; "make" alone lists them.

jobs := $(shell nproc)
packages := tools/install_packages.sh

# What a preset is made into: $(call build,PRESET) or $(call build,PRESET,TARGETS).
build = cmake --preset $(1) && cmake --build --preset $(1) --parallel $(jobs) $(if $(2),--target $(2))

# Run the tests of a build: $(call run_tests,TEST PRESET,PRESET). Those that are skipped say why, which ctest keeps to itself.
run_tests = ctest --preset $(1) --parallel $(jobs); status=$$?; \
    awk '/^SKIPPED/ || after { print "skipped: " $$0 } { after = /: Skipped$$/ }' \
        build/$(2)/Testing/Temporary/LastTest.log; exit $$status

.PHONY: help demo install test check bench fuzz format tidy clean

help:
	@echo "make demo      build the program and impute 153 days of air quality measurements"
	@echo "make install   build the program and install it below PREFIX (/usr/local), with libraries and documents"
	@echo "make test      build all in Release and run its tests"
	@echo "make check     run what else there is: sanitizers, clang, other instructions, fuzzers, long simulations"
	@echo "make bench     measure the engine beside its plain road"
	@echo "make fuzz      run each fuzzer for FUZZ_SECONDS (60)"
	@echo "make format    write the sources anew in the project's format"
	@echo "make tidy      analyse the sources with clang-tidy"
	@echo "make clean     remove build/"
	@echo "Each first installs the Debian packages that it needs and that are missing, as root or with sudo."

# The program on the airquality measurements, with missing and with censored cells.
demo:
	$(packages) program
	$(call build,demo)
	tools/demo.sh build/demo/cli/ullage build/demo/results

PREFIX ?= /usr/local
install:
	$(packages) program
	$(call build,demo)
	cmake --install build/demo --prefix "$(PREFIX)"

# Enough for every day: one build, and every test that is not long.
test:
	$(packages) test
	$(call build,release)
	$(call run_tests,release,release)

# The rest. Every build has the tests that can come out differently in it: with wider instructions the engine's and the
# golden runs; with clang and sanitizers all that are not long; with clang at full optimization the engine's.
check:
	$(packages) check
	$(call build,release)
	$(call run_tests,long,release)
	$(call build,haswell,instruction_tests)
	$(call run_tests,haswell,haswell)
	$(call build,asan-ubsan-clang)
	$(call run_tests,asan-ubsan-clang,asan-ubsan-clang)
	$(call build,clang-engine)
	$(call run_tests,clang-engine,clang-engine)
	$(MAKE) fuzz FUZZ_SECONDS=20

# The engine beside the plain road: a table of medians and ratios, and build/bench/bench.csv.
bench:
	$(packages) bench
	$(call build,bench)
	python3 tools/bench_table.py build/bench

# Inputs that fail are left in build/fuzz/finds.
FUZZ_SECONDS ?= 60
fuzz:
	$(packages) fuzz
	$(call build,fuzz)
	for harness in $(notdir $(wildcard fuzz/corpora/*)); do \
	    mkdir -p build/fuzz/corpus/$$harness build/fuzz/finds/$$harness && \
	    build/fuzz/fuzz/$${harness}_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=256 -timeout=30 -rss_limit_mb=4000 \
	        -close_fd_mask=2 -artifact_prefix=build/fuzz/finds/$$harness/ build/fuzz/corpus/$$harness \
	        fuzz/corpora/$$harness || exit 1; \
	done

format:
	$(packages) format
	python3 tools/check_format.py --write

# The library, the host and the program, with the checks chosen in .clang-tidy.
tidy:
	$(packages) tidy
	cmake --preset clang-release -D ULLAGE_BUILD_TESTS=OFF -B build/tidy
	run-clang-tidy -quiet -p build/tidy '$(CURDIR)/(src|host|cli)/'

clean:
	rm -rf build
