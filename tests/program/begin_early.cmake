# Read by ctest.
set_tests_properties(
  program_tests.LeftSemaphores.ThatAreKeptCostAMinuteAndTheRecordsAndNoInstall PROPERTIES COST 60)
