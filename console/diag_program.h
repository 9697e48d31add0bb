#ifndef ZOR_CONSOLE_DIAG_PROGRAM_H
#define ZOR_CONSOLE_DIAG_PROGRAM_H

/// zor-diag: asks the recorder what the command line says, prints the answer and returns the exit
/// code. Signals keep their effect: the one that ends the program leaves nothing behind.
int RunDiag(int argc, char* argv[]);

#endif
