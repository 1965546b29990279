// Registers comparisons with the console.
#pragma once

/// Adds the commands of a comparison to those of the console.
void addValidateCommands();

/// Registers the functions by which other commands query a comparison.
void registerAnswers();
