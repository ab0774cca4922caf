# Every target does its own set-up: Debian packages, npm packages, build folder.

.PHONY: help run demo test check bench format clean

SHELL := /bin/bash
.DEFAULT_GOAL := run
.SHELLFLAGS := -euo pipefail -c

nimbe := build/release/Nimbe/nimbe

# Read for LibriVox, in Debian's pocketsphinx-testdata.
sample := /usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0870.wav

# What CMake finds is of interest only when something is missing.
configure = mkdir -p build && cmake --preset release >build/configure.log || \
	{ cat build/configure.log; exit 1; }

## Lists the targets.
help:
	@awk '/^## /{text=substr($$0,4)} /^[a-z]+:/{if(text)printf "make %-8s %s\n",substr($$1,1,length($$1)-1),text;text=""}' Makefile

## Starts the application; without a display, transcribes a recording.
run: configured
	@cmake --build --preset release --target nimbe
	@if [ -n "$${DISPLAY:-}" ]; then \
		echo "--- $(nimbe): look for it in the tray; hold Alt and speak"; \
		exec $(nimbe); \
	else \
		echo "--- no display here: $(sample)"; \
		$(nimbe) transcribe $(sample); \
	fi

## Dictates into real windows on a private desktop; pictures in build/demo.
demo: configured
	@scripts/bootstrap test
	@cmake --build --preset release --target nimbe-demo
	@rm -rf build/demo
	@SESSION_DESKTOP=openbox SESSION_COMPOSITOR=picom SESSION_TRAY=trayer SESSION_AUDIO=pulseaudio \
		scripts/desktop-session build/release/Tests/Desktop/nimbe-demo build/demo

## Builds with warnings as errors, runs all tests.
test: configured
	@scripts/bootstrap test
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
	@SESSION_DESKTOP=openbox SESSION_COMPOSITOR=picom SESSION_TRAY=trayer SESSION_AUDIO=pulseaudio \
		scripts/desktop-session build/release/Benchmarks/nimbe-bench

## Puts all sources into the project's format.
format:
	@scripts/bootstrap check
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

## Removes all that was built and installed here.
clean:
	rm -rf build {assets,Tests/MCPClient,Benchmarks/peers}/node_modules

.PHONY: configured
configured:
	@scripts/bootstrap build
	@$(configure)
