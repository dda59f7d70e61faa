// Reports what a long operation is doing to the plugin's Ruby progress display.
//
// The display is the singleton StatusProgressBar.instance of the plugin module, found afresh on every call, or a
// target object that the caller hands in. Calls are synchronous and unchecked: a missing display raises NameError,
// a missing method NoMethodError. Only updateStatus with one text also writes to the console.
#pragma once

#include <ruby.h>

// Prints the text as a line, then update_message(text).
void updateStatus(char const* text);
// update_message(first + second), joined by Ruby.
void updateStatus(char const* first, char const* second);

// task_name= on the target, or on the singleton; the suffix is a String joined by Ruby.
void setTask(VALUE target, char const* name);
void setTaskName(char const* name);
void setTaskName(char const* name, VALUE suffix);

// task_max_count= on the singleton.
void setTaskCount(unsigned int count);
// Calls "task_max_count==" on the target, with both equals signs.
void setTaskCount(VALUE target, unsigned int count);

// One unit done: `update` on the target, or on the singleton.
void update(VALUE target);
void updateProgress();

// progress= on the target, in percent.
void setProgress(VALUE target, unsigned int percent);
