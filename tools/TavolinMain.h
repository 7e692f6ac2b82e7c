#pragma once

// The whole program `tavolin`: what main gets and returns. Call it once in a process, before any QCoreApplication.
int TavolinMain(int argc, char** argv);
