## pkg install puts kinetra.m, the help text of the command, into the package
## folder and kinetra.mex into its architecture folder. Octave shows the help
## of a .mex from a .m file of the same name in the same folder, and calls the
## .mex when both are there, so the help file moves beside the module.
function post_install (desc)
  help_file = fullfile (desc.dir, "kinetra.m");
  module = dir (fullfile (desc.archprefix, "*", "kinetra.mex"));
  if (isempty (module) || ! exist (help_file, "file"))
    warning ("kinetra: kinetra.mex or kinetra.m not found after installation; 'help kinetra' may be empty");
    return;
  endif
  [ok, msg] = movefile (help_file, module(1).folder);
  if (! ok)
    warning ("kinetra: could not move kinetra.m beside kinetra.mex: %s", msg);
  endif
endfunction
