#pragma once

/// What is done with a row's subject.
enum class PlanAction {
    kill,          ///< run the tool `subject` once with `names` as its arguments
    trashBundle,   ///< trash the application whose bundle identifier is `subject`
    trash,         ///< trash the item at the absolute path `subject`
    removeAgent,   ///< stop and remove the user's launch agent with the label `subject`
    trashMatching, ///< trash the entries of `subject`/Receipts that begin with the one of `names`
};
