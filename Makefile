# make demo   build the tool and cut the astronaut out of samples/ into out/
# make test   Release build + tests, static checks, AddressSanitizer/UBSan build + tests, memcheck, fuzz smoke
# make bench  build and run every program of bench/
# make fuzz   build the libFuzzer harnesses with clang and run each FUZZ_SECONDS
# make memcheck  the tool under Valgrind: demo road and failure paths, no leaks
# make check  cppcheck over the sources; make tidy  clang-tidy over them
SHELL := /bin/bash
JOBS ?= $(shell nproc)
BUILD ?= build
SANITIZE_BUILD ?= build-asan
OUT ?= out
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 30
# A fixed seed keeps the short runs of make test repeatable; FUZZ_SEED=0 draws one.
FUZZ_SEED ?= 1
MEMCHECK_BUILD ?= build-memcheck

.PHONY: all deps configure build demo test test-release test-sanitize fuzz memcheck check tidy bench clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release

build: configure
	cmake --build $(BUILD) -j$(JOBS)

demo: configure
	cmake --build $(BUILD) -j$(JOBS) --target qxmatte_cli
	mkdir -p $(OUT)
	$(BUILD)/qxmatte matte samples/astronaut.png samples/astronaut_trimap.png -o $(OUT)/alpha.png \
	  --preview $(OUT)/preview.png --over 2E7D32 --foreground $(OUT)/foreground.png --cutout $(OUT)/cutout.png
	$(BUILD)/qxmatte composite $(OUT)/cutout.png samples/coffee.png -o $(OUT)/composite.png
	@# The road without a trimap, from a rectangle alone: GrabCut, cut-out, composite.
	$(BUILD)/qxmatte grabcut samples/astronaut.png --rect 40,20,440,492 -o $(OUT)/grabcut-rect-trimap.png
	$(BUILD)/qxmatte cutout samples/astronaut.png $(OUT)/grabcut-rect-trimap.png -o $(OUT)/grabcut-rect-cutout.png
	@# With marks made from nothing in one command: keep strokes on the face, suit and dark helmet, a cut
	@# stroke on the dark table; the rectangle runs to the bottom edge, where the body does.
	$(BUILD)/qxmatte -q stroke --like samples/astronaut.png --radius 10 --stroke keep:222,60,222,170 \
	  --stroke keep:130,330,330,330 --stroke keep:330,420,460,440 --stroke keep:300,485,470,475 \
	  --stroke cut:385,290,495,290 -o $(OUT)/strokes.png
	$(BUILD)/qxmatte grabcut samples/astronaut.png --rect 40,20,440,492 --marks $(OUT)/strokes.png \
	  -o $(OUT)/grabcut-trimap.png
	$(BUILD)/qxmatte cutout samples/astronaut.png $(OUT)/grabcut-trimap.png -o $(OUT)/grabcut-cutout.png \
	  --alpha $(OUT)/grabcut-alpha.png
	$(BUILD)/qxmatte composite $(OUT)/grabcut-cutout.png samples/coffee.png -o $(OUT)/grabcut-composite.png
	@echo "demo: wrote $$(ls $(OUT) | tr '\n' ' ')into $(OUT)/"

test: test-release check tidy test-sanitize memcheck fuzz

test-release: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

test-sanitize: deps
	cmake -S . -B $(SANITIZE_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQX_SANITIZE=ON -DQX_BUILD_BENCH=OFF
	cmake --build $(SANITIZE_BUILD) -j$(JOBS)
	cd $(SANITIZE_BUILD) && ctest --output-on-failure -j$(JOBS)

# Only the library's archives and the harnesses; clang for libFuzzer.
fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQX_FUZZ=ON
	cmake --build $(FUZZ_BUILD) -j$(JOBS) --target fuzzers
	FUZZ_SEED=$(FUZZ_SEED) bash scripts/run-fuzzers.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# A plain optimised build with debug information: never -march=native, whose
# AVX-512 Valgrind cannot decode.
memcheck: deps
	cmake -S . -B $(MEMCHECK_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQX_BUILD_TESTS=OFF -DQX_BUILD_BENCH=OFF
	cmake --build $(MEMCHECK_BUILD) -j$(JOBS) --target qxmatte_cli
	bash scripts/memcheck.sh $(MEMCHECK_BUILD)

check: configure
	JOBS=$(JOBS) bash scripts/static-checks.sh $(BUILD) cppcheck

# clang-tidy over every source: about seven minutes on two cores.
tidy: configure
	JOBS=$(JOBS) bash scripts/static-checks.sh $(BUILD) clang-tidy

bench: build
	@set -e; for src in bench/*.cpp; do \
	  [ -e "$$src" ] || continue; \
	  name=$$(basename "$$src" .cpp); \
	  echo "== $$name"; \
	  $(BUILD)/$$name; \
	done
	@echo "== bench_threads"; bash bench/bench_threads.sh $(BUILD)

clean:
	rm -rf $(BUILD) $(SANITIZE_BUILD) $(FUZZ_BUILD) $(MEMCHECK_BUILD) $(OUT)
