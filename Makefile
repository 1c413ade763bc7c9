# One command each. Packages that are missing are installed from Debian.

RELEASE = build/release

.PHONY: build demo test models eval bench board arm package package-test threads sanitize powercuts \
	faults fuzz soak tidy coverage pictures diagrams configured packages clean

build: packages
	cmake --preset release -DBRAIRU_TESTS=OFF
	cmake --build --preset release

demo: build
	$(RELEASE)/brairu-demo config/brairu.json build/demo

test: configured
	cmake --build --preset release
	ctest --preset release

# Renders palms, trains the three networks, exports, packs and evaluates them.
models: build
	training/make-models.sh

# Measures the shipped networks against their goals, on rendered people whom no training saw; tables
# and pictures go to build/eval. PEOPLE search a gallery of both palms of these and of BYSTANDERS.
# PHOTOGRAPHS is a folder of real palms, INDEX tells whose they are; OPEN_HANDS is a folder of whole
# hands with their fingers.
EVALUATE = $(RELEASE)/brairu eval --seed $(or $(SEED),900001)

eval: build
	$(EVALUATE) --scenario enrolment --rendered $(or $(PEOPLE),200) --handless $(or $(HANDLESS),3000) \
		--report build/eval/enrolment
	$(EVALUATE) --scenario hard --rendered $(or $(PEOPLE),1000) \
		--bystanders $(or $(BYSTANDERS),4000) --handless $(or $(HANDLESS),3000) \
		--report build/eval/hard
	$(EVALUATE) --scenario hard --any-camera --rendered $(or $(PEOPLE),200) \
		--report build/eval/anyCamera
	$(if $(PHOTOGRAPHS),GOALS="--usable-goal 99 --error-goal 0.86" \
		training/evaluatePhotographs.sh $(PHOTOGRAPHS) $(INDEX),\
		@echo "photographs of palms: not measured, PHOTOGRAPHS and INDEX are not given")
	$(if $(OPEN_HANDS),GOALS="--usable-goal 95" WORK=build/eval/openHands \
		training/evaluatePhotographs.sh $(OPEN_HANDS),\
		@echo "photographs of open hands: not measured, OPEN_HANDS is not given")

# Draws the pictures of docs/configuration.md anew; the shipped networks see rendered frames.
pictures: configured
	cmake --build --preset release --target brairu-setting-pictures
	$(RELEASE)/brairu-setting-pictures config/brairu.json docs/pictures/settings

# Draws the diagrams of the documents anew, from the text beside them.
diagrams:
	cmake/installPackages.sh graphviz
	for text in docs/pictures/*.dot; do dot -Tsvg "$$text" -o "$${text%.dot}.svg" || exit 1; done

# The library against its peers, in one table of ratios and one picture.
bench: packages
	bench/runBench.sh

# The library against the headers of a board's libraries alone.
board: packages
	cmake/checkBoardBuild.sh

# Everything for 32-bit and 64-bit ARM, tested under an emulator.
arm:
	cmake/arm/test.sh

# Debian packages, in build/package; ARCH=armhf or ARCH=arm64 makes those of boards.
package: packages
	cmake/packaging/makePackages.sh $(ARCH)

# Installs the packages in a clean Debian, and does there what they are for. As root. With ARCH, the
# packages of boards under an emulator.
package-test: package
	cmake/packaging/tryPackages.sh $(ARCH)

# The library under clang's thread-safety analysis, and the proof that it misses no lock.
threads: packages
	cmake --preset clang
	cmake --build --preset clang --target brairu_core
	cmake/checkLocks.sh build/clang

# Every test under the address and undefined-behaviour sanitizers, the concurrent ones under the
# thread sanitizer.
sanitize: packages
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan
	cmake --preset tsan
	cmake --build --preset tsan --target concurrency_tests
	ctest --preset tsan

# Kills a working host and cuts its power, ten thousand times; no reported enrolment may be lost.
powercuts: configured
	cmake --build --preset release --target brairu-power-cuts
	$(RELEASE)/tests/faults/powerCuts/brairu-power-cuts

# Every call below the library fails, on each of its uses; prints how many were tried.
faults: configured
	cmake --build --preset release --target nth_failure_tests fault_tests
	$(RELEASE)/tests/faults/fault_tests
	BRAIRU_FAULTS=all $(RELEASE)/tests/faults/nth_failure_tests

# The release build with its tests, ready to be built.
configured: packages
	cmake --preset release -DBRAIRU_TESTS=ON

packages:
	cmake/installPackages.sh

# clang-tidy over src/ and platform/, or over the files that FILES, a regular expression, fits.
tidy: packages
	cmake/checkTidy.sh $(FILES)

# The lines and branches of src/ that the tests reach; too few lines are a failure.
coverage: packages
	cmake/measureCoverage.sh

# 200,000 calls of everything, or CALLS: results are checked, and what the process holds stays level.
soak: configured
	cmake --build --preset release --target brairu_soak
	$(RELEASE)/tests/soak/brairu_soak $(CALLS)

# Every fuzz target for FUZZ_SECONDS, 60 unless set; TARGETS names some of them.
fuzz:
	cmake/installPackages.sh libclang-rt-14-dev llvm
	cmake --preset fuzz
	cmake --build --preset fuzz
	tests/fuzz/run.sh build/fuzz $(TARGETS)

clean:
	rm -rf build
