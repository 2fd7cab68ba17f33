#pragma once

// What the command line calls after it has loaded the module by name.
extern "C" {

// Opens the window and returns the process's exit status when it is closed. After the program's
// name, `arguments` has the path of a workflow, empty for none, and then names of files and
// folders.
int kelvoEdit(int count, char** arguments);
}
