# Sourced by the scripts of this repository: puts Homebrew's Ruby and LLVM, which are not linked into its bin
# folder, before the older ones that macOS brings.
if [[ $(uname) == Darwin ]] && command -v brew >/dev/null; then
  homebrew=$(brew --prefix)
  PATH="$homebrew/opt/ruby/bin:$homebrew/opt/llvm/bin:$PATH"
  export PATH
  unset homebrew
fi
