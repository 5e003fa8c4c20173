// support_type_task - runs the one scheduled task of the maker that has to run before the tasks are deleted. Knows
// nothing of the other tasks.
#pragma once

// Starts the scheduled task ORVScoSupportTypeUpdate and waits for nothing. CreateProcessW.
void RunSupportTypeUpdateTask();
