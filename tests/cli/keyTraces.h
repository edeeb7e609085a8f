#pragma once

/// What a program of keyTraces.cpp runs: all that it made is released when this returns.
int runInHere(int argc, char** argv);
