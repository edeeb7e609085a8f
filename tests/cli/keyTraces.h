#pragma once

/// The work that a program of keyTraces.cpp runs. It has released all its objects when it returns.
int runInHere(int argc, char** argv);
