#pragma once

#include "app/records/Jobs.h"
#include "app/records/RunRecorder.h"
#include "app/records/RunRecords.h"

namespace start {

/// The current user's records, with the recorder of one run.
struct Recording {
    records::LaunchdJobs jobs;
    records::RunRecords runs{records::RunRecords::usersDirectory()};
    records::RunRecorder recorder{runs, jobs};
};

} // namespace start
