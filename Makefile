# One command each. Packages that are missing are installed from Debian.

RELEASE = build/release

.PHONY: build demo test models board threads clean

build: packages
	cmake --preset release -DBRAIRU_TESTS=OFF
	cmake --build --preset release

demo: build
	$(RELEASE)/brairu-demo config/brairu.json build/demo

test: packages
	cmake --preset release -DBRAIRU_TESTS=ON
	cmake --build --preset release
	ctest --preset release

# Renders palms, trains the three networks, exports, packs and evaluates them.
models: build
	training/make-models.sh

# The library against the headers of a board's libraries alone.
board: packages
	cmake/checkBoardBuild.sh

# The library under clang's thread-safety analysis.
threads: packages
	cmake --preset clang
	cmake --build --preset clang --target brairu_core

.PHONY: packages
packages:
	cmake/installPackages.sh

clean:
	rm -rf build
