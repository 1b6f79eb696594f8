# Everything a fresh Debian machine needs: `make demo`, `make test`, `make bench` and
# `make compare` (time and jq measure and read the benchmarks).
BUILD ?= build
SANITIZE ?= 0
JOBS ?= $(shell nproc)

DEBIAN_PACKAGES := cmake g++ make pkg-config clang-format clang libclang-rt-14-dev \
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev \
  libopencv-core-dev libopencv-imgproc-dev libpng-dev libjpeg62-turbo-dev \
  libwebp-dev libgif-dev libgd-dev libexpat1-dev ffmpeg time jq
# make valgrind
DEBIAN_PACKAGES += valgrind
# The frei0r plug-ins: their header, and melt and GStreamer for their tests
DEBIAN_PACKAGES += frei0r-plugins-dev melt gstreamer1.0-tools gstreamer1.0-plugins-base \
  gstreamer1.0-plugins-bad
# kelo studio (cpp-httplib, nlohmann-json) and its browser test (headless Chromium, Selenium)
DEBIAN_PACKAGES += libcpp-httplib-dev nlohmann-json3-dev chromium chromium-driver python3-selenium
# kelo slideshow --timeline (JSON files through nlohmann-json above, TOML through toml++)
DEBIAN_PACKAGES += libtomlplusplus-dev

ifeq ($(SANITIZE),1)
  BUILD := $(BUILD)-sanitize
  CMAKE_FLAGS += -DKELO_SANITIZE=ON -DKELO_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
endif

.PHONY: all deps configure build test demo bench bench-smoke compare format clean fuzz

all: build

deps:
	@missing=$$(for p in $(DEBIAN_PACKAGES); do dpkg-query -W -f='$${Status}\n' $$p 2>/dev/null | grep -q '^install ok installed' || echo $$p; done); \
	if [ -z "$$missing" ]; then exit 0; fi; \
	if [ "$$(id -u)" = 0 ]; then \
	  echo "Installing: $$missing"; \
	  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $$missing; \
	else \
	  echo "Missing packages. Run as root:"; \
	  echo "  apt-get update && apt-get install -y --no-install-recommends $$missing"; \
	  exit 1; \
	fi

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

configure: $(BUILD)/CMakeCache.txt

build: deps configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j 1

# Only the program and the modules it loads: no tests or benchmarks.
demo: deps configure
	cmake --build $(BUILD) -j $(JOBS) --target kelo
	$(BUILD)/kelo demo

# Memcheck over kelo: a frame and a short render of every transition (tests/valgrind.sh); any
# memory error or definite leak fails, but the counter-cover factory's deliberate one.
.PHONY: valgrind
valgrind: deps configure
	cmake --build $(BUILD) -j $(JOBS) --target kelo
	tests/valgrind.sh $(BUILD)

# Every benchmark (the program finds the modules from its own path, from any folder);
# BENCH_ARGS adds options, e.g. BENCH_ARGS=--benchmark_filter=Dissolve.
bench: build
	$(BUILD)/bench/kelo_bench --benchmark_min_time=0.2 $(BENCH_ARGS)

# Every benchmark once, checked (also part of `make test`).
bench-smoke: build
	cd $(BUILD) && ctest --output-on-failure -R kelo_bench_smoke

# Effects against FFmpeg, whole slideshows and output formats, written to docs/PERFORMANCE.md.
compare: build
	bench/compare.sh $(BUILD)

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(BUILD)-sanitize $(FUZZ_BUILD)

# Fuzzing: the libFuzzer targets of fuzz/ built with clang, AddressSanitizer and UBSan in
# $(FUZZ_BUILD), each run for FUZZ_SECONDS on its seeds (fuzz/corpus/<target>; what it finds
# goes to $(FUZZ_BUILD)/corpus/<target>). A crash, leak, sanitizer report or slow input fails.
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 20
FUZZ_TARGETS := picture settings_xml folder_stream string_table registry transition timeline

fuzz: deps
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_CXX_COMPILER=clang++ -DKELO_FUZZ=ON
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	@cd $(FUZZ_BUILD) && for target in $(FUZZ_TARGETS); do \
	  mkdir -p corpus/$$target findings; \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/leaks.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
	  ./fuzz_$$target -max_total_time=$(FUZZ_SECONDS) -timeout=20 -rss_limit_mb=3072 \
	    -artifact_prefix=findings/$$target- -print_final_stats=1 \
	    corpus/$$target $(CURDIR)/fuzz/corpus/$$target >fuzz-$$target.log 2>&1 \
	    || { tail -n 60 fuzz-$$target.log; echo "fuzz: $$target failed (log: $(FUZZ_BUILD)/fuzz-$$target.log)"; exit 1; }; \
	  echo "fuzz_$$target: $$(grep -aE '^#[0-9]+[[:space:]]+DONE' fuzz-$$target.log)"; \
	done

# The transitions as frei0r plug-ins for MLT (melt, Kdenlive) and GStreamer: the plug-ins flat in
# PREFIX, the modules they load in PREFIX/_binARM64, the Kdenlive descriptions in KDENLIVE_DIR.
PREFIX ?= $(HOME)/.frei0r-1/lib
KDENLIVE_DIR ?= $(HOME)/.local/share/kdenlive/transitions
.PHONY: install-frei0r
install-frei0r: deps configure
	cmake --build $(BUILD) -j $(JOBS) --target kelo_frei0r
	frei0r/install.sh $(BUILD) $(PREFIX) $(KDENLIVE_DIR)
