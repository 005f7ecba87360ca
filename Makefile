# Shortcuts for the two commands of the README.
.PHONY: run test
run:
	bash tools/demo.sh
test:
	bash tools/test-all.sh
