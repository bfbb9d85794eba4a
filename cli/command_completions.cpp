// "tidra completions": scripts for shells. They ask the hidden command "complete-words" for everything, so that they
// know the commands and options of this very program, and what the user keeps.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/completion_values.h"
#include "cli/program.h"
#include "cli/terminal.h"
#include "cli/word_completion.h"
#include "core/base/errors.h"
#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::string_view bashScript = R"END(# bash completion for tidra

_tidra() {
  local program=${1:-tidra} current=${COMP_WORDS[COMP_CWORD]} kind='' word
  program=${program/#\~/$HOME}
  [ "$current" != '=' ] || current=''
  COMPREPLY=()
  {
    read -r kind
    while IFS=$'\t' read -r word _; do
      # A name may hold what the shell would split or expand.
      if [[ $word == *[!A-Za-z0-9_.,:/@%+=~-]* ]]; then printf -v word %q "$word"; fi
      COMPREPLY+=("$word")
    done
  } < <("$program" complete-words -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  case $kind in
    files) mapfile -t COMPREPLY < <(compgen -f -- "$current") && compopt -o filenames 2>/dev/null ;;
    folders) mapfile -t COMPREPLY < <(compgen -d -- "$current") && compopt -o filenames 2>/dev/null ;;
  esac
}

complete -F _tidra tidra
)END";

constexpr std::string_view zshScript = R"END(#compdef tidra

_tidra() {
  local -a lines described
  local line tab=$'\t'
  lines=("${(@f)$(${words[1]} complete-words -- "${(@)words[2,CURRENT]}" 2>/dev/null)}")
  case $lines[1] in
    files) compset -P '--*='; _files ;;
    folders) compset -P '--*='; _files -/ ;;
    *)
      for line in "${(@)lines[2,-1]}"; do described+=("${${line%%$tab*}//:/\\:}:${line#*$tab}"); done
      _describe tidra described
      ;;
  esac
}

if [ "${funcstack[1]}" = _tidra ]; then _tidra "$@"; else compdef _tidra tidra; fi
)END";

constexpr std::string_view fishScript = R"END(# fish completion for tidra

function __tidra_complete
    set -l current (commandline -ct)
    set -l lines (command tidra complete-words -- (commandline -opc)[2..-1] "$current" 2>/dev/null)
    switch "$lines[1]"
        case files
            __fish_complete_path "$current"
        case folders
            __fish_complete_directories "$current"
        case '*'
            string join \n -- $lines[2..-1]
    end
end

complete -c tidra -f -a '(__tidra_complete)'
)END";

int printScript(const std::string& shell) {
  if (shell == "bash") {
    writeOut(bashScript);
  } else if (shell == "zsh") {
    writeOut(zshScript);
  } else if (shell == "fish") {
    writeOut(fishScript);
  } else {
    throw InputError(fmt::format("Unknown shell '{}'; known are bash, zsh, fish.", escapedForTerminal(shell)));
  }
  return ExitStatus::done;
}

/// A line with the kind, then one for each word: the word, a tab, and what it is. Words that a line cannot hold are
/// left out.
std::string linesOfCompletions(const Completions& completions) {
  constexpr std::string_view kinds[] = {"words", "files", "folders"};
  std::string text = fmt::format("{}\n", kinds[static_cast<std::size_t>(completions.kind)]);
  for (const auto& word : completions.words) {
    if (escapedForTerminal(word.text) != word.text) continue;
    text += fmt::format("{}\t{}\n", word.text, escapedForTerminal(word.what));
  }
  return text;
}

}  // namespace

void addCompletionsCommand(CLI::App& app, Program& program) {
  auto shell = std::make_shared<std::string>();
  CLI::App* printing = app.add_subcommand("completions", "Print the completions of a shell");
  printing->add_option("SHELL", *shell, "bash, zsh or fish")->required()->type_name("");
  printing->footer(
      "Examples:\n"
      "  source <(tidra completions bash)                                  in ~/.bashrc; in ~/.zshrc with zsh\n"
      "  tidra completions fish > ~/.config/fish/completions/tidra.fish");
  printing->callback([&program, shell] { program.command = [shell] { return printScript(*shell); }; });

  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* asking = app.add_subcommand("complete-words", "What can stand in the place of the last word")->group("");
  asking->add_option("WORD", *words, "The words after tidra")->type_name("");
  asking->callback([&app, &program, words] {
    program.command = [&app, &program, words] {
      silenceNotes();
      const auto valuesAt = [&](const ValuePlace& place) { return knownValues(place, app, program); };
      writeOut(linesOfCompletions(completed(app, *words, valuesAt)));
      return ExitStatus::done;
    };
  });
}

}  // namespace tidra
