#include "installscript/run_progress.h"

#include <memory>

#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"

namespace
{

constexpr int k_cchBar = 24;

bool BSameStep(const RunProgress_s& a, const RunProgress_s& b)
{
    return a.m_nStep == b.m_nStep && a.m_nCount == b.m_nCount && a.m_strDescription == b.m_strDescription;
}

} // namespace

bool BReadRunProgress(const std::string& strFile, RunProgress_s* pProgress)
{
    FILE* pFile = fopen(strFile.c_str(), "rb");
    if (!pFile)
        return false;
    char rgchText[4096];
    const size_t cchText = fread(rgchText, 1, sizeof(rgchText), pFile);
    fclose(pFile);
    CUtlBuffer buf(rgchText, (int)cchText, CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    std::unique_ptr<KeyValues> pkvProgress(new KeyValues("progress"));
    pkvProgress->SetUsesEscapeSequences(true, false);
    // The evaluator rewrites the file every 100 ms: a half-written one is read next time.
    CKeyValuesParser parser;
    parser.SetReportEnabled(false);
    if (!pkvProgress->LoadFromBuffer(strFile.c_str(), buf, &parser) || !pkvProgress->FindKey("step_count"))
        return false;
    pProgress->m_nStep = pkvProgress->GetKeyInt("current_step", 0);
    pProgress->m_nCount = pkvProgress->GetKeyInt("step_count", 0);
    pProgress->m_strDescription = pkvProgress->GetKeyString("current_step_description", "");
    return true;
}

void CProgressView::Show(const RunProgress_s& progress, double flSeconds)
{
    const bool bChanged = !BSameStep(progress, m_shown);
    m_shown = progress;
    if (m_eStyle == k_EProgressStyleQuiet || progress.m_nStep <= 0)
        return;
    if (m_eStyle == k_EProgressStyleLines)
    {
        if (bChanged)
            fprintf(m_pOut, "step %d/%d: %s\n", progress.m_nStep, progress.m_nCount,
                    progress.m_strDescription.c_str());
        fflush(m_pOut);
        return;
    }
    // The bar is redrawn when the step changes and once a second for the clock.
    const int nSecond = (int)flSeconds;
    if (!bChanged && nSecond == m_nShownSecond)
        return;
    m_nShownSecond = nSecond;
    const int nCount = progress.m_nCount > 0 ? progress.m_nCount : 1;
    const int cchDone = std::min(k_cchBar, k_cchBar * (progress.m_nStep - 1) / nCount);
    const std::string strBar = std::string(cchDone, '#') + std::string(k_cchBar - cchDone, '.');
    fprintf(m_pOut, "\r\033[K[%s] %d/%d %s  %d:%02d", strBar.c_str(), progress.m_nStep, progress.m_nCount,
            progress.m_strDescription.c_str(), nSecond / 60, nSecond % 60);
    fflush(m_pOut);
    m_bBarDrawn = true;
}

void CProgressView::Finish()
{
    if (m_bBarDrawn)
        fprintf(m_pOut, "\r\033[K");
    m_bBarDrawn = false;
    fflush(m_pOut);
}
