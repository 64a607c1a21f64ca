# Lumenstat: two set-up commands.
#   make run   installs what is missing, builds and starts the app
#   make test  installs what is missing, builds with sanitizers and runs every test
#   make install [PREFIX=/usr/local] [DESTDIR=]   builds and installs (cmake --install)
#   make deb   builds the Debian packages from a Release build (build-deb/packages/)
JOBS ?= 2
BUILD ?= build
TEST_BUILD ?= build-asan
DEB_BUILD ?= build-deb
PREFIX ?= /usr/local

.PHONY: run test build deps bench format clean install deb

deps:
	@bash scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(BUILD) -j$(JOBS)

run: build
	@bash scripts/run.sh $(BUILD)

test: deps
	@cmake -S . -B $(TEST_BUILD) -DCMAKE_BUILD_TYPE=Debug -DLUMENSTAT_SANITIZE=ON >/dev/null
	@cmake --build $(TEST_BUILD) -j$(JOBS)
	@cd $(TEST_BUILD) && ctest --output-on-failure -j$(JOBS) --timeout 600

install: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=$(PREFIX) >/dev/null
	@cmake --build $(BUILD) -j$(JOBS)
	@DESTDIR=$(DESTDIR) cmake --install $(BUILD)

# Release, installed to /usr, without tests and benchmarks; source paths are left out of
# the binaries. -O2 as Debian builds its packages (GCC 12 at -O3 warns falsely about
# std::string copies, -Wrestrict, which -Werror turns into a failed build).
deb: deps
	@cmake -S . -B $(DEB_BUILD) -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
	  -DLUMENSTAT_TESTS=OFF -DLUMENSTAT_BENCH=OFF "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" \
	  "-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$(CURDIR)=." >/dev/null
	@cmake --build $(DEB_BUILD) -j$(JOBS)
	@rm -f $(DEB_BUILD)/packages/*.deb
	@cd $(DEB_BUILD) && cpack -G DEB >/dev/null
	@ls -1 $(DEB_BUILD)/packages/*.deb

bench: build
	@bash bench/run.sh $(BUILD)

format:
	@find src tests bench tools -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(TEST_BUILD) $(DEB_BUILD)
