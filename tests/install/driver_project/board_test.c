/* Stand-in board-test library. */
int StandinBoardTest(void) { return 0; }
