# Lumenstat: two set-up commands.
#   make run   installs what is missing, builds and starts the app
#   make test  installs what is missing, builds with sanitizers and runs every test
JOBS ?= 2
BUILD ?= build
TEST_BUILD ?= build-asan

.PHONY: run test build deps bench format clean

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

bench: build
	@bash bench/run.sh $(BUILD)

format:
	@find src tests bench tools -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(TEST_BUILD)
