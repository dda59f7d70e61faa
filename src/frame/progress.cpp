#include "src/frame/progress.h"

#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

namespace {

VALUE getProgressBar() {
  static ID statusProgressBar;
  static ID instance;
  VALUE const type = rb_const_get(mPlugin, internedName(statusProgressBar, "StatusProgressBar"));
  return rb_funcall(type, internedName(instance, "instance"), 0);
}

VALUE joinStrings(VALUE first, VALUE second) {
  static ID plus;
  return rb_funcall(first, internedName(plus, "+"), 1, second);
}

void sendTaskName(VALUE target, VALUE name) {
  static ID taskName;
  rb_funcall(target, internedName(taskName, "task_name="), 1, name);
}

void sendMessage(VALUE text) {
  static ID updateMessage;
  rb_funcall(getProgressBar(), internedName(updateMessage, "update_message"), 1, text);
}

}  // namespace

void updateStatus(char const* text) {
  rb_puts(text);
  sendMessage(GetRubyInterface(text));
}

void updateStatus(char const* first, char const* second) {
  VALUE const head = GetRubyInterface(first);
  sendMessage(joinStrings(head, GetRubyInterface(second)));
}

void setTask(VALUE target, char const* name) {
  sendTaskName(target, GetRubyInterface(name));
}

void setTaskName(char const* name) {
  VALUE const bar = getProgressBar();
  sendTaskName(bar, GetRubyInterface(name));
}

void setTaskName(char const* name, VALUE suffix) {
  VALUE const bar = getProgressBar();
  sendTaskName(bar, joinStrings(GetRubyInterface(name), suffix));
}

void setTaskCount(unsigned int count) {
  static ID taskMaxCount;
  VALUE const bar = getProgressBar();
  rb_funcall(bar, internedName(taskMaxCount, "task_max_count="), 1, GetRubyInterface(count));
}

void setTaskCount(VALUE target, unsigned int count) {
  static ID taskMaxCount;
  rb_funcall(target, internedName(taskMaxCount, "task_max_count=="), 1, GetRubyInterface(count));
}

void update(VALUE target) {
  static ID update;
  rb_funcall(target, internedName(update, "update"), 0);
}

void updateProgress() {
  update(getProgressBar());
}

void setProgress(VALUE target, unsigned int percent) {
  static ID progress;
  rb_funcall(target, internedName(progress, "progress="), 1, GetRubyInterface(percent));
}
