% A first look at kinetra: load the module, list its commands and the workspace.
kinetra
kinetra('status');
kinetra('show');
