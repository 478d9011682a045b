#include "common/shared_objects.hpp"

namespace tkstream63 {
namespace {

// The objects of this thread, created on first use.
struct SharedObjects {
    std::shared_ptr<GridIndexer> grid;
    std::shared_ptr<KeyUtility> keys;
    std::shared_ptr<DuplicateNameDialog> dialog;
    std::shared_ptr<ArrayHelper> arrays;
    std::shared_ptr<ErrorReporter> reporter;
};

thread_local SharedObjects shared;

template <class T, class Make = T>
T& createOnFirstUse(std::shared_ptr<T>& slot) {
    if (!slot) slot = std::make_shared<Make>();
    return *slot;
}

}  // namespace

GridIndexer& gridIndexer() { return createOnFirstUse(shared.grid); }
KeyUtility& keyUtility() { return createOnFirstUse(shared.keys); }
DuplicateNameDialog& duplicateNameDialog() {
    return createOnFirstUse<DuplicateNameDialog, ConsoleDialog>(shared.dialog);
}
ArrayHelper& arrayHelper() { return createOnFirstUse(shared.arrays); }
ErrorReporter& errorReporter() { return createOnFirstUse(shared.reporter); }

void installDuplicateNameDialog(std::shared_ptr<DuplicateNameDialog> dialog) {
    shared.dialog = std::move(dialog);
}
void installErrorReporter(std::shared_ptr<ErrorReporter> reporter) {
    shared.reporter = std::move(reporter);
}

std::shared_ptr<ErrorReporter> existingErrorReporter() { return shared.reporter; }

bool anySharedUtilityExists() {
    return shared.grid || shared.keys || shared.dialog || shared.arrays;
}

void releaseSharedUtilities() {
    shared.grid.reset();
    shared.keys.reset();
    shared.dialog.reset();
    shared.arrays.reset();
}

void releaseErrorReporter() { shared.reporter.reset(); }

}  // namespace tkstream63
