#pragma once

/// Does the work of a program that is built from keyTraces.cpp. Releases all its objects before it returns.
int runInHere(int argc, char** argv);
