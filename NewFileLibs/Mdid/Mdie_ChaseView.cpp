#include "Mdid/Mdie_ChaseView.h"

Mdie_ChaseView::~Mdie_ChaseView() = default;
