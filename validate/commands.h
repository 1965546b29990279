// How the console comes to know of comparisons.
#pragma once

/// Adds the commands of a comparison to those of the console.
void addValidateCommands();

/// Registers what other commands ask of a comparison.
void registerAnswers();
