// savesim and loadsim: the state of the model as ordinary files, one VCD for all scalars and a
// memory image for each array.
#pragma once

/// Adds their commands to those of the console.
void addStateCommands();
