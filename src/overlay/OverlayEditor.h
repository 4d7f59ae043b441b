#pragma once

#include "base/QueuedCalls.h"
#include "overlay/PreviewWorker.h"
#include "protocol/CommandSink.h"

#include <QImage>
#include <functional>
#include <memory>

// What every overlay editor has besides its own settings: the link it sends
// through, the view's handlers, and the preview worker with the mailbox
// through which the worker reaches the editor and the last picture. Main
// thread only, apart from the worker itself.
template <typename Worker>
class OverlayEditor {
public:
    OverlayEditor(const OverlayEditor&) = delete;
    OverlayEditor& operator=(const OverlayEditor&) = delete;

    // Where commands go; returns null while there is no link.
    void setComThread(std::function<CommandSink*()> sink) { m_sink = std::move(sink); }
    // Preview pictures and report-driven changes, for the view.
    void setImageHandler(std::function<void(const QImage&)> h) { m_onImage = std::move(h); }
    void setChangedHandler(std::function<void()> h) { m_onChanged = std::move(h); }
    // Told of each trigger note the editor sent (for the unit tab's log).
    void setTriggerHandler(std::function<void(int note)> h) { m_onTrigger = std::move(h); }

    QImage image() const { return m_image; }
    Worker* thread() const { return m_worker.get(); }
    // Paints the first picture, without transmitting, and starts the worker;
    // its transmit requests come back to threadNeedsTx().
    void awakeFromNib() {
        setDraw(PreviewWorker::kRedraw);
        startPreview([this](int code) { threadNeedsTx(code); });
    }
    // Stops the worker and drops what it posted and was not yet delivered.
    void windowClosing() {
        m_worker->stopThread();
        m_calls->cancel();
    }

    // The editor's settings to the worker, with a request (kRedraw, ...).
    virtual void setDraw(int mode) = 0;

protected:
    OverlayEditor()
        : m_calls(std::make_unique<QueuedCalls>(nullptr)), m_worker(std::make_unique<Worker>()) {}
    virtual ~OverlayEditor() { windowClosing(); }

    // The worker's countdown ran out after a request with this code: send
    // what it changed.
    virtual void threadNeedsTx(int code) = 0;

    CommandSink* comThread() const { return m_sink ? m_sink() : nullptr; }
    // Fires the function bound to the note, when there is a link.
    void sendTrigger(int note) const {
        CommandSink* sink = comThread();
        if (!sink)
            return;
        sink->sendMidiTrigger(note);
        if (m_onTrigger)
            m_onTrigger(note);
    }
    void changed() const {
        if (m_onChanged)
            m_onChanged();
    }

private:
    void startPreview(std::function<void(int code)> threadNeedsTx) {
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

    std::function<CommandSink*()> m_sink;
    std::function<void(const QImage&)> m_onImage;
    std::function<void()> m_onChanged;
    std::function<void(int note)> m_onTrigger;
    QImage m_image;
    std::unique_ptr<QueuedCalls> m_calls; // outlives the worker
    std::unique_ptr<Worker> m_worker;
};
