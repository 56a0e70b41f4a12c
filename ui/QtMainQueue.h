#pragma once

#include <QObject>
#include <atomic>
#include <memory>

namespace tavik {

// Runs the jobs of the main queue in Qt's event loop, which it ends when the queue quits. Lives as
// long as Qt's application does, on the main thread.
class QtMainQueue : public QObject {
public:
    QtMainQueue();
    ~QtMainQueue() override;

protected:
    bool event(QEvent* event) override;

private:
    struct Link;

    std::shared_ptr<Link> link;
};

} // namespace tavik
