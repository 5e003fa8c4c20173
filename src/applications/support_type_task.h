// support_type_task - starts the one scheduled task of the maker that has to run before the scheduled tasks are
// deleted. Knows nothing about the other tasks.
#pragma once

// Starts the scheduled task ORVScoSupportTypeUpdate without waiting for it. CreateProcessW.
void RunSupportTypeUpdateTask();
