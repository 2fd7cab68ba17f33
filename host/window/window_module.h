#pragma once

// What the command line calls after it has loaded the module by name.
extern "C" {

// Opens the window on the workflow and the files that `arguments` name and returns the process's
// exit status when it is closed.
int kelvoEdit(int count, char** arguments);
}
