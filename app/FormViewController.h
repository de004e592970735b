#pragma once

#include "Artwork.h"
#include "InterfaceActions.h"
#include "ViewController.h"

#include <functional>
#include <memory>

// A screen whose view comes from a .ui file, its buttons wired to the
// screen's slots, its image views showing the process-wide images. `Form`
// may be incomplete where this header is included, so everything that needs the generated form happens in the constructor, which
// subclasses define next to the form's header.
template <typename Form>
class FormViewController : public Velmora::Platform::ViewController
{
public:
    void loadView() override
    {
        Velmora::Platform::ViewController::loadView();
        setUpForm_(view());
        Artwork::showImages(view());
        InterfaceActions::connect(view(), this);
    }

protected:
    explicit FormViewController(QObject *parent)
        : Velmora::Platform::ViewController(parent)
        , ui(std::make_unique<Form>())
        , setUpForm_([form = ui.get()](QWidget *view) { form->setupUi(view); })
    {
    }

    std::unique_ptr<Form> ui;

private:
    std::function<void(QWidget *)> setUpForm_;
};
