#include "plugins/lamp/lamppanel.h"

#include "plugins/lamp/lampmodel.h"
#include "plugins/lamp/lampwindow.h"

#include <utility>

LampPanel::LampPanel(std::unique_ptr<LampModel> model)
    : m_model(model.release())
{
    m_model->setParent(this);
}

QWidget *LampPanel::createWidget(QWidget *parent)
{
    if (LampModel *const model = std::exchange(m_model, nullptr)) {
        m_window = new LampWindow(model, parent);
    }
    return m_window;
}
