#pragma once

/// From now on a request to end the program (Ctrl-C, SIGTERM) only asks it to stop; the second one
/// ends it as usual.
void catchInterrupts();

/// Whether the program was asked to stop.
bool isInterrupted();
