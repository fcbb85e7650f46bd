# The front door: `make demo` and `make test` work on a fresh Debian 12 machine.

BUILD := build/release
JOBS ?= $(shell nproc)

.PHONY: all tool demo test bench install clean setup

all: $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

tool: $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS) --target mdid

# Installs what is missing, builds, and reads the song that comes with the sources.
demo: tool
	@printf '\n$$ mdid info Examples/Song/canon.mid\n'
	@$(BUILD)/bin/mdid info Examples/Song/canon.mid
	@printf '\n$$ mdid dump --allow-mpe --format json Examples/Song/canon.mid | grep -m 5 RxMidiEvent.*:480\n'
	@$(BUILD)/bin/mdid dump --allow-mpe --format json Examples/Song/canon.mid | grep 'RxMidiEvent.*:480' | head -n 5
	@printf '\n$$ printf '"'"'\\x90\\x3c\\x40\\xf8\\x3e\\x40'"'"' | mdid parse\n'
	@printf '\220\074\100\370\076\100' | $(BUILD)/bin/mdid parse

test: all
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# Every claim about speed, as a ratio to what it is measured against.
bench: setup
	cmake --preset bench
	cmake --build build/bench -j $(JOBS)
	build/bench/bin/mdid_bench

# PREFIX=/where/to
install: all
	cmake --install $(BUILD) $(if $(PREFIX),--prefix $(PREFIX))

setup:
	@./cmake/setup-debian.sh

$(BUILD)/build.ninja: | setup
	cmake --preset release

clean:
	rm -rf build
