#include "View/TSKBuildAdWebViewDelegate.h"

using namespace Velmora::Platform;

TSKBuildAdWebViewDelegate::TSKBuildAdWebViewDelegate(std::function<void()> loadFailed)
    : loadFailed_(std::move(loadFailed))
{
}

void TSKBuildAdWebViewDelegate::webViewDidFailLoadWithError(WebContent *, const Error &)
{
    // Last: the loader lets go of this delegate in it.
    const std::function<void()> loadFailed = loadFailed_;
    loadFailed();
}
