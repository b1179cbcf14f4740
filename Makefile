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
	@# The whole road without a trimap: keep strokes on the face, suit, strap and dark helmet, cut strokes on
	@# the flag's edge and the dark table, a rectangle, GrabCut, cut-out, composite.
	$(BUILD)/qxmatte -q stroke samples/astronaut_trimap.png --from 0,0 --to 511,511 --radius 800 --mode unknown -o $(OUT)/strokes-0.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-0.png --from 222,60 --to 222,170 --radius 12 --mode keep -o $(OUT)/strokes-1.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-1.png --from 130,330 --to 330,330 --radius 12 --mode keep -o $(OUT)/strokes-2.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-2.png --from 330,420 --to 460,440 --radius 12 --mode keep -o $(OUT)/strokes-3.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-3.png --from 300,485 --to 470,475 --radius 14 --mode keep -o $(OUT)/strokes-4.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-4.png --from 266,420 --to 266,511 --radius 5 --mode keep -o $(OUT)/strokes-5.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-5.png --from 14,300 --to 14,511 --radius 3 --mode cut -o $(OUT)/strokes-6.png
	$(BUILD)/qxmatte -q stroke $(OUT)/strokes-6.png --from 385,290 --to 495,290 --radius 8 --mode cut -o $(OUT)/strokes.png
	rm -f $(OUT)/strokes-[0-6].png
	$(BUILD)/qxmatte grabcut samples/astronaut.png --rect 12,8,496,504 --marks $(OUT)/strokes.png --iterations 2 \
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
