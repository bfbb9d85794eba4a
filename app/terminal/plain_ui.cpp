// A line that the user types is a word and what belongs to it. It becomes the keys that do the same on the screens, so
// that both have the same abilities; the screen that these lead to is then written as lines.
#include "app/terminal/plain_ui.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

#include "app/terminal/plain_text.h"
#include "app/terminal/results_filter_keys.h"
#include "core/base/display_text.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/model/byte_formatting.h"

namespace tidra {
namespace {

constexpr std::size_t linesAtOnce = 20;

constexpr std::string_view helpText =
    "Type a number to mark that line, or several: 2 5 7-9. Other words:\n"
    "  more, top          go on in the list, or back to its beginning\n"
    "  all, none          mark everything that is listed, or nothing\n"
    "  show N             details of line N\n"
    "  review             look at what is marked; only then can it be removed\n"
    "  undo               bring back what the last removal moved away\n"
    "  find TEXT          list only what has these words; find alone lists everything\n"
    "  fold N, unfold N   list only the head of the group of line N, or all of it\n"
    "  kept, tier, ecosystem   switch these filters on, step by step\n"
    "  sort, reverse, group    change the order\n"
    "  exclude N          never find the folder of line N again\n"
    "  copy N, open N     write the path of line N, or open it in a file manager\n"
    "  scan, everything   scan again\n"
    "  stores, exclusions, settings, summary   other lists\n"
    "  back, quit\n";

/// Words that are one key of the screens.
constexpr std::array<std::pair<std::string_view, char32_t>, 22> wordKeys{{
    {"all", U'a'},     {"none", U'A'},       {"review", U'd'}, {"undo", U'u'},       {"kept", U'f'},
    {"tier", U't'},    {"ecosystem", U'e'},  {"sort", U's'},   {"reverse", U'S'},    {"group", U'b'},
    {"scan", U'r'},    {"everything", U'R'}, {"stores", U'2'}, {"exclusions", U'3'}, {"settings", U'4'},
    {"summary", U'5'}, {"quit", U'q'},       {"y", U'y'},      {"yes", U'y'},        {"n", U'n'},
    {"no", U'n'},      {"method", U'm'},
}};

/// "7" or "7-9", counted from 1; nullopt for anything else.
std::optional<std::pair<std::size_t, std::size_t>> rangeOf(std::string_view word) {
  const auto dash = word.find('-');
  const auto first = wholeNumber(word.substr(0, dash));
  const auto last = dash == std::string_view::npos ? first : wholeNumber(word.substr(dash + 1));
  if (!first || !last || *first < 1 || *last < *first) return std::nullopt;
  return std::pair{static_cast<std::size_t>(*first), static_cast<std::size_t>(*last)};
}

}  // namespace

PlainUi::PlainUi(UiEnvironment environment, PlainConsole console)
    : console_(std::move(console)),
      controller_(
          std::move(environment),
          UiHost{.wake = [this] { wake_.wake(); },
                 .suspend = [] {},
                 .redraw = [] {},
                 .copy = [this](const std::string& text) { console_.write(escapedForTerminal(text) + "\n"); }}) {}

void PlainUi::waitForJobs() {
  constexpr int pause = 200;  // milliseconds between looks at the interruption
  while (controller_.isBusy()) {
    pollfd watched{wake_.descriptor(), POLLIN, 0};
    ::poll(&watched, 1, pause);
    wake_.clear();
    controller_.takeNews();
    if (!wasInterrupted_ && console_.interrupted()) {
      wasInterrupted_ = true;
      if (!controller_.stopRemoval()) controller_.handle(Key::ctrl('c'));
    }
  }
  controller_.takeNews();
}

void PlainUi::showList() {
  const UiState& state = controller_.state();
  const std::size_t total = state.list->lines.size();
  first_ = std::min(first_, total == 0 ? 0 : total - 1);
  std::string text = ByteFormatting::compact(state.list->all.freeableBytes) + " could be freed in " +
                     counted(state.list->all.items, "finding", "findings") + ". " +
                     std::to_string(state.list->marked.items) + " marked, frees " +
                     ByteFormatting::compact(state.list->marked.freeableBytes) + ".\n";
  if (const std::string filter = filterText(state.query.filter); !filter.empty())
    text += "Listed: " + escapedForTerminal(filter) + ".\n";
  if (!state.banner.empty()) text += escapedForTerminal(state.banner) + "\n";
  for (const std::string& line : numberedLines(state, first_, linesAtOnce)) text += line + "\n";
  if (first_ + linesAtOnce < total)
    text += "more shows " + std::to_string(total - first_ - linesAtOnce) + " further lines.\n";
  console_.write(text);
}

void PlainUi::showScreen() {
  if (controller_.isOnResults()) {
    showList();
  } else {
    for (const std::string& line : controller_.texts()) console_.write(line + "\n");
  }
  const std::string& notice = controller_.state().notice;
  if (!notice.empty()) console_.write(escapedForTerminal(notice) + "\n");
}

void PlainUi::typeText(std::string_view text) {
  if (!controller_.isTyping()) return;  // the characters would be commands
  const std::string valid = replacingInvalidUtf8(text);
  controller_.handle(Key::ctrl('u'));
  for (const char32_t c : utf8Scalars(valid)) press(c);
  press(Key::Kind::enter);
}

bool PlainUi::obeyNumbers(const std::vector<std::string_view>& words) {
  for (const std::string_view word : words) {
    if (!rangeOf(word)) return false;
  }
  for (const std::string_view word : words) {
    const auto [first, last] = *rangeOf(word);
    for (std::size_t number = first; number <= last && controller_.goToLine(number - 1); ++number) press(U' ');
  }
  return !words.empty();
}

void PlainUi::showDetails() {
  press(U'i');
  waitForJobs();  // of git
  for (const std::string& line : controller_.detailTexts()) console_.write(line + "\n");
  press(U'i');
}

bool PlainUi::obeyWord(std::string_view word, std::string_view rest) {
  const bool hasLine = rangeOf(rest) && controller_.goToLine(rangeOf(rest)->first - 1);
  if (word == "more") {
    first_ += linesAtOnce;
  } else if (word == "top") {
    first_ = 0;
  } else if (word == "find" && controller_.isOnResults()) {
    press(U'/');
    typeText(rest);
  } else if (word == "show" && hasLine && controller_.isOnResults()) {
    showDetails();
  } else if ((word == "exclude" || word == "copy" || word == "open") && hasLine && controller_.isOnResults()) {
    press(word == "exclude" ? U'x' : word == "copy" ? U'y' : U'o');
  } else if (word == "fold" && hasLine && controller_.isOnResults()) {
    if (!controller_.isOnHead()) press(U'h');  // to the head
    press(U'h');
  } else if (word == "unfold" && hasLine && controller_.isOnHead()) {
    press(U'l');
  } else if (word == "add" && controller_.isOnExclusions()) {
    press(U'a');
    typeText(rest);
  } else if (word == "remove" && controller_.isInReview()) {
    press(U'r');
    typeText("remove " + std::string(rest));
  } else if (word == "remove" && controller_.isOnExclusions()) {
    press(U'x');
  } else if ((word == "restore" || word == "purge") && controller_.isOnStores()) {
    press(word == "restore" ? U'r' : U'd');
  } else if (word == "back") {
    press(Key::Kind::escape);
  } else {
    const auto* known =
        std::find_if(wordKeys.begin(), wordKeys.end(), [&](const auto& row) { return row.first == word; });
    if (known == wordKeys.end()) return false;
    press(known->second);
  }
  return true;
}

void PlainUi::obey(const std::string& line) {
  const std::string_view text = trimmed(line);
  if (controller_.isTyping()) return typeText(text);
  const auto words = splitNonEmpty(text, ' ');
  if (words.empty()) return;
  const std::string word = asciiLowered(words.front());
  if (word == "help" || word == "?") return console_.write(helpText);
  if (obeyNumbers(words) || obeyWord(word, trimmed(text.substr(words.front().size())))) return;
  console_.write("\"" + escapedForTerminal(text) + "\" is no word that is known here; help lists them.\n");
}

void PlainUi::run() {
  console_.write("Looking through " + controller_.state().place + "…\n");
  controller_.start();
  while (!controller_.isDone()) {
    waitForJobs();
    for (const std::string& line : controller_.lastWords()) console_.write(line + "\n");
    if (controller_.isDone()) return;
    showScreen();
    console_.write("Word, number or help: ");
    const auto line = console_.readLine();
    if (!line) return;
    obey(*line);
  }
}

}  // namespace tidra
