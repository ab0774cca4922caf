# Every target does its own set-up: Debian packages, build folder.

.PHONY: test clean release

SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c

## Builds with warnings as errors, runs all tests.
test: release
	@ctest --preset release

clean:
	rm -rf build

release:
	@scripts/bootstrap build
	@mkdir -p build
	@cmake --preset release >build/configure.log || { cat build/configure.log; exit 1; }
	@cmake --build --preset release
