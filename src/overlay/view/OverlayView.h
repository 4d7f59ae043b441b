#pragma once

#include "overlay/view/PreviewCanvas.h"

#include <QBoxLayout>
#include <QImage>
#include <QString>
#include <QWidget>
#include <initializer_list>

// What the three editor tabs share: the headless editor each binds, the
// preview its pictures go to, the tab's layout (the preview with a row of
// buttons under it on the left, the groups of controls on the right), and
// the start and close of the preview worker.
//
// A tab builds its controls, lays them out with layOut(), then calls
// bindEditor(): from then on the editor's pictures reach the preview and
// every change the unit reports reaches the controls through refresh().
template <typename Editor>
class OverlayView : public QWidget {
public:
    ~OverlayView() override { m_editor.windowClosing(); }

    Editor& editor() { return m_editor; }
    PreviewCanvas* canvas() const { return m_canvas; }
    // Starts the preview worker.
    void awakeFromNib() { m_editor.awakeFromNib(); }
    // The window is closing: stops the preview worker.
    void windowClosing() { m_editor.windowClosing(); }

protected:
    OverlayView(QWidget* parent, const QString& name, const QString& canvasName,
                const QString& canvasTip)
        : QWidget(parent), m_canvas(new PreviewCanvas) {
        setObjectName(name);
        m_canvas->setObjectName(canvasName);
        m_canvas->setToolTip(canvasTip);
    }

    void layOut(QLayout* buttons, std::initializer_list<QWidget*> groups) {
        auto* outer = new QHBoxLayout(this);
        auto* left = new QVBoxLayout;
        left->addWidget(m_canvas, 1);
        left->addLayout(buttons);
        outer->addLayout(left, 3);
        auto* right = new QVBoxLayout;
        for (QWidget* group : groups)
            right->addWidget(group);
        right->addStretch(1);
        outer->addLayout(right, 2);
    }

    void bindEditor() {
        m_editor.setImageHandler([this](const QImage& image) { m_canvas->setImage(image); });
        m_editor.setChangedHandler([this] { showSettings(); });
        showSettings();
    }

    // The editor's settings into the controls. The controls' handlers send
    // nothing meanwhile (refreshing() is true), so a report is never echoed.
    virtual void refresh() = 0;
    bool refreshing() const { return m_refreshing; }

    Editor m_editor;
    PreviewCanvas* m_canvas;

private:
    void showSettings() {
        m_refreshing = true;
        refresh();
        m_refreshing = false;
    }

    bool m_refreshing = false;
};
