# The two commands of the README, and a few more for developers.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
FUZZ_BUILD ?= build-fuzz
FUZZ_RUNS  ?= 1000000

.PHONY: run test test-asan bench build deps clean install crash-loop fuzz

run: build
	./$(BUILD)/larder index
	./$(BUILD)/larder status

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

build: deps
	cmake -S . -B $(BUILD) -G Ninja
	cmake --build $(BUILD) -j $(JOBS)

# The program, with the speech runtime and models under lib/larder/speech.
install: build
	cmake --install $(BUILD)

deps:
	scripts/install-deps

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
