# Every target does its own set-up: Debian packages, npm packages, build folder.

.PHONY: run test check bench format clean

SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c

nimbe := build/release/Nimbe/nimbe

# What CMake finds is of interest only when something is missing.
configure = mkdir -p build && cmake --preset release >build/configure.log || \
	{ cat build/configure.log; exit 1; }

## Formats the sample transcript: before and after.
run: configured
	@cmake --build --preset release --target nimbe
	@echo "--- raw transcript (assets/sample-transcript.txt)"
	@cat assets/sample-transcript.txt
	@echo "--- finished text"
	@$(nimbe) format <assets/sample-transcript.txt

## Builds with warnings as errors, runs all tests.
test: configured
	@cmake --build --preset release
	@ctest --preset release

## Format, lint, documents, the tests under sanitizers, each fuzz target.
check:
	@scripts/bootstrap check
	@scripts/check

## Figures beside what they are compared to, from one run.
bench:
	@scripts/bootstrap bench
	@$(configure)
	@cmake --build --preset release --target nimbe-bench
	@build/release/Benchmarks/nimbe-bench

## Puts all sources into the project's format.
format:
	@scripts/bootstrap check
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build assets/node_modules

.PHONY: configured
configured:
	@scripts/bootstrap build
	@$(configure)
