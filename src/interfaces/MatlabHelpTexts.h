// Help texts of the Matlab route, exactly as the module registers them.
// "quit" keeps the wording of the text route.
#ifndef KINETRA_INTERFACES_MATLABHELPTEXTS_H
#define KINETRA_INTERFACES_MATLABHELPTEXTS_H

namespace matlabhelp {

const char* const helpText[2] = {
    "  'help'    : this help, additional arguments provide\n"
    "              more detailed information on those topics\n",
    " KINETRA Pharmacokinetic Modeling Toolbox\n"
    "    kinetra (cmd[,...] is an interface to the Morvane Pharmacokinetic Modeling Toolbox\n"
    "    'cmd' defines the specific task to perform and the interpretation of the following arguments\n"
    "    the following tasks (commands) are available:\n"};

const char* const helpTextExit[2] = {
    "  'exit'    : stop execution of the current kinetra script\n",
    " kinetra ('exit')\n"
    "  kinetra ('exit');\n"
    "     stops execution of the current kinetra script\n"};

const char* const helpTextReset[2] = {
    "  'reset'   : reset everything to the initial state\n",
    " kinetra ('reset')\n"
    "  reset Kinetra\n"};

const char* const helpTextStatus[2] = {
    "  'status'  : show a status message\n",
    " kinetra ('status')\n"
    "  show a status message on memory and cpu usage (not only for Kinetra)\n"};

const char* const helpTextCluster[2] = {
    "  'cluster' : cluster data in kinetra\n",
    " kinetra ('cluster', ...)\n"
    "cluster data\n"};

const char* const helpTextCreate[2] = {
    "  'create'  : create data|voi in kinetra\n",
    " kinetra ('create', ...)\n"
    "create an error data or a protocol\n"
    "  [d, t] = kinetra ('create', 'error', data, tracer|sigma[, floor]);\n"
    "     creates an error data set for data set 'data'\n"
    "  [d, t] = kinetra ('create', 'data', data);\n"
    "     creates a data set using the timing from data set 'data'\n"
    "  [d, t] = kinetra ('create', 'data', [ t1 t2 ], n);\n"
    "     creates a data set with n frames in the time interval t1, t2\n"
    "  kinetra ('create', 'protocol', name, model);\n"
    "     creates a protocol 'name' for the model 'model'\n"};

const char* const helpTextDelete[2] = {
    "  'delete'  : delete data|voi in kinetra\n",
    " kinetra ('delete', ...)\n"
    "  kinetra ('delete', 'data', name);\n"
    "     deletes data set 'name' from kinetra\n"
    "  kinetra ('delete', 'input', name);\n"
    "     deletes input function 'name' from kinetra\n"
    "  kinetra ('delete', 'protocol', name);\n"
    "     deletes protocol 'name' from kinetra\n"
    "  kinetra ('delete', 'voi', name);\n"
    "     deletes VOI 'name' from kinetra\n"};

const char* const helpTextFilter[2] = {
    "  'filter'  : filter data in kinetra\n",
    " kinetra ('filter', ...)\n"
    "  kinetra ('filter', data, 'decay', factor);\n"
    "     applies decay for the current tracer on data set 'data', \n"
    "     'factor' indicates the direction: 1 = normal decay, -1 = inverse decay\n"
    "  kinetra ('filter', data, 'scale', imin imax omin omax);\n"
    "     scales the data set 'data' from [imin,imax] to [omin,omax]\n"
    "     [imin,imax] = [0,0] can be used to compute them from the data set\n"
    "  kinetra ('filter', data, 'slice', t, z);\n"
    "     extract slice t, z from 4D data set 'data'\n"
    "  kinetra ('filter', data, 'slice', z);\n"
    "     extract slice z from 3D data set 'data'\n"
    "  kinetra ('filter', data, 'voi', voi, 'mean'|'sdev'|'sum');\n"
    "     compute the VOI mean, standard deviation or sum over data set 'data'\n"
    "     using VOI 'voi'\n"
    "  kinetra ('filter', data, 'volume', t);\n"
    "     extract volume t from data set 'data'\n"};

const char* const helpTextGet[2] = {
    "  'get'     : get ...\n",
    " kinetra ('get', ...)\n"
    "  \n"};

const char* const helpTextProcess[2] = {
    "  'process' : perform the analysis defined by the current protocol\n",
    " kinetra ('process', ...)\n"
    "  \n"};

const char* const helpTextRead[2] = {
    "  'read'    : read data|tac|voi from file to kinetra and Matlab\n",
    " kinetra ('read', ...)\n"
    "  READ DATA filename [name unit]   read data set from 'filename' into kinetra and\n"
    "                                  give it the name 'name', if 'name' is omitted the\n"
    "                                  basename (without extension) of the file is used\n"
    "  READ SCALED filename [name unit]  \n"
    "                                read data set from 'filename' into kinetra as DOUBLE,\n"
    "                                  scale it with  the factor provided in Analyze .hdr,\n"
    "                                  and give it the name 'name', if 'name' is omitted the\n"
    "                                  basename (without extension) of the file is used\n"
    "  READ VOI filename [name]      read VOI from from 'filename' into kinetra\n"
    "                                  naming as for 'read data'\n"
    "  READ TAC filename [name]      read TAC in ASCII format from 'filename'\n"
    "                                  naming as for 'read data'"};

const char* const helpTextSelect[2] = {
    "  'select'  : select input|model|optimizer|protocol ...\n",
    " kinetra ('select', list, item)\n"
    "selects an item from a topic list\n"
    "  SELECT DATA name              select data set 'name'\n"
    "  SELECT VOI name               select VOI 'name'\n"
    "  SELECT INPUT name             select input function 'name'\n"
    "  SELECT MODEL name             select model 'name'\n"
    "  SELECT PROTOCOL name          select protocol 'name'\n"
    "  SELECT TRACER name            select tracer 'name'\n"
    "  SELECT UNIT name              select unit 'name'\n"
    "  SELECT ERROR name             select error model 'name'\n"
    "  SELECT OPTIMIZER name         select optimizer 'name'\n"};

const char* const helpTextSet[2] = {
    "  'set'     : set ...\n",
    " kinetra ('set', ...)\n"
    "set variable or parameter to value has the following variants:\n"
    "  SET DATA name MIDFRAME_APPROX value\n"
    "  SET DATA name TIMEUNIT unit   \n"
    "  SET DATA name UNIT unit       \n"
    "  SET DATA name1 = name2        \n"
    "  SET DATA name = name1 op name2\n"
    "  SET INPUT CACHE size          \n"
    "  SET INPUT INIT data voi       \n"
    "  SET INPUT NUMCONV 0|1         \n"
    "  SET INPUT NUMDER 0|1          \n"
    "  SET INPUT parname INITVALUE value\n"
    "  SET INPUT parname VALUE value \n"
    "  SET INPUT parname STATE state \n"
    "  SET INPUT parname UNIT unit   \n"
    "  SET INPUT parname VALUE INITVALUE\n"
    "  SET INPUT UNIT unit           \n"
    "  SET INPUT VALUE initvalue     \n"
    "  SET LOGFILE filename          \n"
    "  SET MODEL NUMDER 0|1          \n"
    "  SET MODEL parname INITVALUE value\n"
    "  SET MODEL parname VALUE value \n"
    "  SET MODEL parname STATE state \n"
    "  SET MODEL parname UNIT unit   \n"
    "  SET MODEL UNIT unit           \n"
    "  SET OPTIMIZER ...             \n"
    "  SET OPTIMIZER STATUSFILE [file] \n"
    "  SET SEED seed                 \n"
    "  SET VERBOSITY level           \n"
    "  SET VOI name x y z value      \n"
    "  SET VOI name z value          \n"
    "  SET VOI name = name1 op name2 \n"};

const char* const helpTextShow[2] = {
    "  'show'    : show input|model|optimizer|protocol ...\n",
    " kinetra ('show', ...)\n"
    "  SHOW DATA [name]              \n"
    "  SHOW INPUT [name]             \n"
    "  SHOW MODEL [name]             \n"
    "  SHOW PROTOCOL [name]          \n"
    "  SHOW UNIT [name]              \n"
    "  SHOW TRACER [name]            \n"
    "  SHOW VOI [name]               \n"
    "  SHOW ERROR [name]             \n"
    "  SHOW OPTIMIZER [name]         \n"};

const char* const helpTextWrite[2] = {
    "  'write'   : write data|tac|voi from kinetra to file\n",
    " kinetra ('write', ...)\n"
    "  WRITE DATA name [filename]    write data set 'name' to 'filename' in Analyze\n"
    "                                  format, if 'filename' is omitted, 'name' is\n"
    "                                  used\n"
    "  WRITE VOI name [filename]     write voi as data\n"};

}  // namespace matlabhelp

#endif
