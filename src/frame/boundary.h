// Keeps Ruby's jumps and C++ exceptions out of each other's frames.
//
// A Ruby exception, throw or break leaves by longjmp, which skips C++ destructors; a C++ exception must not cross
// a frame of the interpreter. Every method of the table is entered through `boundary`. A body that owns C++ objects
// has one of its own around them, and makes its whole run of Ruby calls inside one `protect`, whose own frames own
// nothing. Bodies without such objects call Ruby bare.
#pragma once

#include <ruby.h>

#include <cstdio>
#include <exception>
#include <new>

// A Ruby jump on its way through C++ frames, as rb_protect reported it. Not a std::exception, so that handlers of
// those let it pass.
struct RubyJump {
  int state;
};

// Runs `call`, which returns a VALUE and may leave by a Ruby jump or a C++ exception. Both come out as C++
// exceptions: RubyJump, or the original.
template <typename Call>
VALUE protect(Call&& call) {
  struct Run {
    Call& call;
    std::exception_ptr failure;
  };
  Run run{call, nullptr};
  int state = 0;
  VALUE const result = rb_protect(
      [](VALUE data) -> VALUE {
        Run& current = *reinterpret_cast<Run*>(data);
        try {
          return current.call();
        } catch (...) {
          current.failure = std::current_exception();
        }
        return Qnil;
      },
      reinterpret_cast<VALUE>(&run), &state);
  if (run.failure) {
    std::rethrow_exception(run.failure);
  }
  if (state != 0) {
    throw RubyJump{state};
  }
  return result;
}

// Runs a method body; once its frames and the handler are gone, resumes a Ruby jump unchanged, or raises
// NoMemoryError or RuntimeError for a C++ exception.
template <typename Body>
VALUE boundary(Body&& body) {
  int state = 0;
  bool outOfMemory = false;
  char message[256] = "unknown C++ exception";
  try {
    return body();
  } catch (RubyJump const& jump) {
    state = jump.state;
  } catch (std::bad_alloc const&) {
    outOfMemory = true;
  } catch (std::exception const& exception) {
    std::snprintf(message, sizeof message, "%s", exception.what());
  } catch (...) {
  }
  if (state != 0) {
    rb_jump_tag(state);
  }
  if (outOfMemory) {
    rb_memerror();
  }
  rb_raise(rb_eRuntimeError, "%s", message);
}
