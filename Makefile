# The two commands of the README, and a few more for developers.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
FUZZ_BUILD ?= build-fuzz
FUZZ_RUNS  ?= 1000000

PREFIX     ?= $(HOME)/.local

.PHONY: run test test-asan bench build deps clean install crash-loop fuzz scale

# Builds the program and opens its window.
run: build
	./$(BUILD)/larder

# Installs the program, its launcher entry and its icon for this user:
# $(PREFIX)/bin, the speech runtime and models under $(PREFIX)/lib/larder/speech,
# and the XDG data folder's applications and icons.
install: deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build $(BUILD) -j $(JOBS) --target larder
	cmake --install $(BUILD)
	@if command -v update-desktop-database >/dev/null; then update-desktop-database $(PREFIX)/share/applications; fi
	@if command -v gtk-update-icon-cache >/dev/null; then gtk-update-icon-cache -q -t $(PREFIX)/share/icons/hicolor; fi

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)
	fuzz/run --seconds 15 --build $(FUZZ_BUILD)

# Every fuzz target for FUZZ_RUNS executions, one after the other, in $(FUZZ_BUILD).
fuzz: deps
	fuzz/run --runs $(FUZZ_RUNS) --build $(FUZZ_BUILD)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLARDER_SANITIZE=ON -DLARDER_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

bench: build
	bench/run-all $(BUILD)

# Kills `larder index` at 20 random moments and checks the library after each.
crash-loop: deps
	cmake -S . -B $(BUILD) -G Ninja
	cmake --build $(BUILD) -j $(JOBS) --target larder bench_index_memory
	bench/crash-loop $(BUILD)

# A library of a million files: scans, searches, listings and duplicates
# beside their references (SCALE_FILES files; the tree is made under /tmp).
SCALE_FILES ?= 1000000
scale: deps
	cmake -S . -B $(BUILD) -G Ninja
	cmake --build $(BUILD) -j $(JOBS) --target larder bench_scale
	$(BUILD)/bench/bench_scale $(SCALE_FILES)

build: deps
	cmake -S . -B $(BUILD) -G Ninja
	cmake --build $(BUILD) -j $(JOBS)

deps:
	scripts/install-deps

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
