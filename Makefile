# Everything a fresh Debian machine needs: `make demo` and `make test`.
BUILD ?= build
SANITIZE ?= 0
JOBS ?= $(shell nproc)

DEBIAN_PACKAGES := cmake g++ make pkg-config clang-format \
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev \
  libopencv-core-dev libopencv-imgproc-dev libpng-dev libjpeg62-turbo-dev \
  libwebp-dev libgif-dev libgd-dev libexpat1-dev ffmpeg

ifeq ($(SANITIZE),1)
  BUILD := $(BUILD)-sanitize
  CMAKE_FLAGS += -DKELO_SANITIZE=ON -DKELO_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
endif

.PHONY: all deps configure build test demo bench format clean

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

demo: build
	$(BUILD)/kelo demo

bench: build
	$(BUILD)/kelo_bench --benchmark_min_time=0.2

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(BUILD)-sanitize
