#pragma once

#include "link/QueuedCalls.h"
#include "overlay/PreviewWorker.h"

#include <QImage>
#include <functional>
#include <memory>

// The preview side of an overlay editor: its worker, the mailbox through
// which the worker reaches the editor, and the last picture. Main thread
// only, apart from the worker itself.
template <typename Worker>
class EditorPreview {
public:
    EditorPreview()
        : m_calls(std::make_unique<QueuedCalls>(nullptr)), m_worker(std::make_unique<Worker>()) {}
    ~EditorPreview() { stop(); }
    EditorPreview(const EditorPreview&) = delete;
    EditorPreview& operator=(const EditorPreview&) = delete;

    Worker* worker() const { return m_worker.get(); }
    QImage image() const { return m_image; }
    void setImageHandler(std::function<void(const QImage&)> h) { m_onImage = std::move(h); }

    // Starts the worker; its transmit requests reach `threadNeedsTx` with
    // their code.
    void start(std::function<void(int code)> threadNeedsTx) {
        PreviewWorker::Parent parent;
        parent.calls = m_calls.get();
        parent.threadNeedsDisplay = [this](const QImage& image) {
            m_image = image;
            if (m_onImage)
                m_onImage(m_image);
        };
        parent.threadNeedsTx = std::move(threadNeedsTx);
        m_worker->startThread(std::move(parent));
    }
    // Stops the worker and drops what it posted and was not yet delivered.
    void stop() {
        m_worker->stopThread();
        m_calls->cancel();
    }

private:
    std::unique_ptr<QueuedCalls> m_calls; // outlives the worker
    std::unique_ptr<Worker> m_worker;
    std::function<void(const QImage&)> m_onImage;
    QImage m_image;
};
