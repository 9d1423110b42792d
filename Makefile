# Every target first makes sure the Debian packages are there (scripts/install-deps
# installs only what is missing), so a fresh machine needs nothing but `make test`.
PREFIX ?= /usr/local

.PHONY: deps build test demo bench asan crash install fuzz format clean app screenshots package

deps:
	@scripts/install-deps

build: deps
	cmake --preset release
	cmake --build --preset release

test: deps
	cmake --preset debug
	cmake --build --preset debug
	ctest --preset debug

asan: deps
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# The crash harness at length: the real program killed CRASH_KILLS times
# (default 1000) at random moments, the library checked after each kill.
CRASH_KILLS ?= 1000
crash: deps
	cmake --preset debug
	cmake --build --preset debug
	QUORVANE_CRASH_KILLS=$(CRASH_KILLS) build/debug/tests/quorvane_process_tests \
	  --gtest_filter='CrashHarness.*'

bench: build
	@scripts/install-deps bench
	build/release/bench/quorvane_bench

demo: build
	@scripts/install-deps demo
	@scripts/demo build/release/src/quorvane

# The desktop window: on your library, or with DEMO=1 on the demo library
# in a temporary home.
app: build
	@$(if $(DEMO),scripts/install-deps demo,true)
	@DEMO=$(DEMO) scripts/app build/release

# A picture of every screen, both themes, two languages: build/screenshots/.
screenshots: build
	@scripts/install-deps demo
	@scripts/screenshots build/release

install: build
	cmake --install build/release --prefix "$(PREFIX)"

# The Debian package, build/quorvane_<version>_amd64.deb, built with Debian's
# hardening flags and checked by lintian (packaging/README.md).
package: deps
	@scripts/install-deps package
	CXXFLAGS="$$(dpkg-buildflags --get CXXFLAGS) $$(dpkg-buildflags --get CPPFLAGS)" \
	  LDFLAGS="$$(dpkg-buildflags --get LDFLAGS)" \
	  cmake -S . -B build/package -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
	    -DQUORVANE_BUILD_TESTS=OFF -DQUORVANE_WERROR=ON
	cmake --build build/package
	cd build/package && cpack
	cp build/package/package/quorvane_*_amd64.deb build/
	lintian --info build/quorvane_*_amd64.deb

format:
	@scripts/install-deps format
	clang-format -i $$(git ls-files '*.cc' '*.h')

clean:
	rm -rf build

# Fuzz every reader of outside input, each for FUZZ_SECONDS (clang, libFuzzer):
# stored text, hostile input (JSON, prices, pasted text, file names), and the
# library's header and journal, project packages and web CV exports.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS = stored_text hostile_input library_files package_reader web_cv_reader pdf_xref_repair image_structure
fuzz:
	@scripts/install-deps fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	for target in $(FUZZ_TARGETS); do \
	  mkdir -p build/fuzz/corpus/$$target && \
	  build/fuzz/fuzz/fuzz_$$target -max_total_time=$(FUZZ_SECONDS) build/fuzz/corpus/$$target \
	    $$(test -d fuzz/corpus/$$target && echo fuzz/corpus/$$target) \
	    || exit 1; \
	done
