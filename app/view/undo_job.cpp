#include "app/view/undo_job.h"

#include <exception>
#include <utility>

namespace tidra {

UndoJob::UndoJob(UndoList::Setting setting, std::optional<std::string> id, std::function<void()> wake)
    : setting_(std::move(setting)), id_(std::move(id)), mailbox_(std::move(wake)) {
  thread_ = JoiningThread([this] {
    auto news = std::make_shared<News>();
    try {
      *news = work();
    } catch (const std::exception& error) {
      news->failure = error.what();
    }
    mailbox_.post([&](std::shared_ptr<const News>& posted) { posted = std::move(news); });
  });
}

UndoJob::News UndoJob::work() const {
  UndoList list(setting_);
  News news;
  if (!id_) {
    const auto newest = list.newest();
    if (!newest) return news;
    news.run = list.runs()[*newest];
    news.items = list.items(*newest);
    return news;
  }
  for (std::size_t i = 0; i < list.runs().size(); ++i) {
    if (list.runs()[i].id != *id_) continue;
    news.run = list.runs()[i];
    news.result = list.undo(i, [this] { return isCancelled_.load(); });
    return news;
  }
  return news;
}

}  // namespace tidra
