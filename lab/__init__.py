"""The laboratory: real executables under Wine, for the demo, the tests and the benchmarks. README.md tells how."""
