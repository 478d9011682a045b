// Per-thread shared objects: each is created on first use and released by the shutdown call.
// Hosts may install their own dialog and error reporter.
#pragma once

#include <memory>
#include <string>

#include "common/error_reporter.hpp"
#include "common/utilities.hpp"

namespace tkstream63 {

GridIndexer& gridIndexer();
KeyUtility& keyUtility();
DuplicateNameDialog& duplicateNameDialog();  // a ConsoleDialog unless the host installed one
ArrayHelper& arrayHelper();
ErrorReporter& errorReporter();              // the default reporter unless the host installed one

void installDuplicateNameDialog(std::shared_ptr<DuplicateNameDialog> dialog);
void installErrorReporter(std::shared_ptr<ErrorReporter> reporter);

// The reporter if one exists on this thread, else nullptr (nothing is created).
std::shared_ptr<ErrorReporter> existingErrorReporter();
// True when any shared utility object (not counting the error reporter) exists on this thread.
bool anySharedUtilityExists();

// Drops the utility objects in their release order: grid indexer, key utility, dialog, array
// helper. The error reporter is left alone.
void releaseSharedUtilities();
// Drops the error reporter.
void releaseErrorReporter();

}  // namespace tkstream63
