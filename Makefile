# The front door: `make demo` and `make test` work on a fresh Debian 12 machine.

BUILD := build/release
JOBS ?= $(shell nproc)

.PHONY: all tool demo test bench install clean setup

all: $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

tool: $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS) --target mdid

# Installs what is missing, builds, and takes the song that comes with the sources through a session and back.
demo: tool
	@mkdir -p build/demo
	@for arguments in 'info Examples/Song/canon.mid' \
	    'import Examples/Song/canon.mid -o build/demo/canon.mdid' \
	    'show build/demo/canon.mdid' \
	    'events build/demo/canon.mdid --from 4 --to 4:2' \
	    'clip build/demo/canon.mdid --from 3:2:100 --to 5:1:240 -o build/demo/clip.mdid' \
	    'notes build/demo/clip.mdid --sounding 3:2:240 --track 5' \
	    'clip build/demo/clip.mdid --widen' \
	    'chase build/demo/canon.mdid --at 4:1:240 --track 5' \
	    'scrub build/demo/canon.mdid --path 3:4,4:1:1,3:4 --track 5' \
	    'play build/demo/canon.mdid --from 3 --to 11 --loop 5..7 --jump 9..4 -o build/demo/played.mid' \
	    'info build/demo/played.mid' \
	    'roll build/demo/canon.mdid -o build/demo/canon.pdf' \
	    'export build/demo/canon.mdid -o build/demo/canon.mid' \
	    'diff Examples/Song/canon.mid build/demo/canon.mid'; do \
	    printf '\n$$ mdid %s\n' "$$arguments"; \
	    $(BUILD)/bin/mdid $$arguments || exit 1; \
	done
	@printf '\nNo difference: what came out equals what went in.\n'

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
